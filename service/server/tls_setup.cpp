#include "server/tls_setup.h"

#include <cstddef>

#include <boost/asio/buffer.hpp>
#include <boost/asio/ssl/context.hpp>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "errors/InputError.h"
#include "openssl/openssl_error.h"
#include "read_file.h"

namespace keepsafe_service {

namespace {

namespace asio = boost::asio;
namespace Process = Tessara::Keepsafe::Process;

/// Of certificates and keys, in bytes.
constexpr std::size_t MOST = std::size_t(1) << 20U;

struct File {
    const std::string& path;
    const char* purpose;
};

void requireUsable(const File& file, bool isUsable, const std::string& reason)
{
    if (!isUsable) {
        throw InputError(file.path + " cannot be used as " + file.purpose + ": " + reason);
    }
}

void requireUsable(const File& file, const boost::system::error_code& error)
{
    requireUsable(file, !error, error.message());
}

/// OpenSSL would open any file, and wait for the writer of a FIFO in its place.
std::string contentOf(const File& file)
{
    int failure = 0;
    std::string content;
    const Process::Descriptor opened = Process::openTrustedFile(file.path, failure);
    if (opened.isOpen()) {
        failure = Process::readAll(opened, content, MOST);
    }
    requireUsable(file, failure == 0, Process::failureText(failure));
    return content;
}

/// Never asks on the terminal for the pass phrase of a key.
int noPassPhrase(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*data*/) { return -1; }

void useOwn(asio::ssl::context& context, const File& certificate, const File& key)
{
    boost::system::error_code error;
    context.use_certificate_chain(asio::buffer(contentOf(certificate)), error);
    requireUsable(certificate, error);
    SSL_CTX_set_default_passwd_cb(context.native_handle(), noPassPhrase);
    context.use_private_key(asio::buffer(contentOf(key)), asio::ssl::context::pem, error);
    requireUsable(key, error);
}

void trust(asio::ssl::context& context, const File& authority)
{
    boost::system::error_code error;
    context.add_certificate_authority(asio::buffer(contentOf(authority)), error);
    requireUsable(authority, error);
    SSL_CTX* const handle = context.native_handle();
    const STACK_OF(X509_OBJECT)* const known = X509_STORE_get0_objects(SSL_CTX_get_cert_store(handle));
    for (int i = 0; i < sk_X509_OBJECT_num(known); ++i) {
        X509* const certificate = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(known, i));
        requireUsable(authority, certificate != nullptr && SSL_CTX_add_client_CA(handle, certificate) == 1,
                      takeOpensslReason());
    }
    SSL_CTX_set_verify(handle, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
}

} // namespace

void setUpTls(asio::ssl::context& context, const ServerTlsFiles& files)
{
    constexpr char sessionContext[] = "keepsafe-service";
    const File certificate{files.certificate, "the server's certificate"};
    SSL_CTX* const handle = context.native_handle();
    requireUsable(certificate, SSL_CTX_set_min_proto_version(handle, TLS1_2_VERSION) == 1, "no TLS 1.2");
    SSL_CTX_set_options(handle, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    useOwn(context, certificate, {files.key, "the server's private key"});
    trust(context, {files.clientAuthority, "the clients' authority"});
    // Without a context of its own a resumed session, whose client has shown its certificate before, fails.
    requireUsable(certificate,
                  SSL_CTX_set_session_id_context(handle,
                                                 reinterpret_cast<const unsigned char*>(sessionContext),
                                                 sizeof sessionContext - 1) == 1,
                  "its session cannot be named");
}

} // namespace keepsafe_service
