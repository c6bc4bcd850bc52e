#include "server/tls_setup.h"

#include <openssl/ssl.h>

#include "errors/InputError.h"
#include "openssl/openssl_error.h"

namespace keepsafe_sandbox {

namespace {

void requireUsable(bool isUsable, const std::string& file, const std::string& what)
{
    if (!isUsable) {
        throw InputError(file + " cannot be used as " + what + ": " + takeOpensslReason());
    }
}

} // namespace

void setUpTls(SSL_CTX& context, const ServerTlsFiles& files)
{
    constexpr char sessionContext[] = "ksrbac-sandbox";
    requireUsable(SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) == 1, files.certificate,
                  "a certificate for TLS 1.2");
    SSL_CTX_set_options(&context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    requireUsable(SSL_CTX_use_certificate_chain_file(&context, files.certificate.c_str()) == 1,
                  files.certificate, "the server's certificate");
    requireUsable(SSL_CTX_use_PrivateKey_file(&context, files.key.c_str(), SSL_FILETYPE_PEM) == 1, files.key,
                  "the server's private key");
    requireUsable(SSL_CTX_load_verify_locations(&context, files.clientAuthority.c_str(), nullptr) == 1,
                  files.clientAuthority, "the clients' authority");
    SSL_CTX_set_client_CA_list(&context, SSL_load_client_CA_file(files.clientAuthority.c_str()));
    SSL_CTX_set_verify(&context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    // Without a context of its own a resumed session, whose client has shown its certificate before, fails.
    requireUsable(SSL_CTX_set_session_id_context(&context,
                                                 reinterpret_cast<const unsigned char*>(sessionContext),
                                                 sizeof sessionContext - 1) == 1,
                  files.certificate, "a server's certificate");
}

} // namespace keepsafe_sandbox
