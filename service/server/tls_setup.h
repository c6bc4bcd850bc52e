#ifndef KEEPSAFE_SERVICE_SERVER_TLS_SETUP_H
#define KEEPSAFE_SERVICE_SERVER_TLS_SETUP_H

#include <string>

#include <openssl/types.h>

namespace keepsafe_sandbox {

/// PEM files of a server, and of the authority that must have issued its clients' certificates.
struct ServerTlsFiles {
    std::string certificate;
    std::string key;
    std::string clientAuthority;
};

/// TLS 1.2 or later, clients with a certificate only. Throws `InputError` for files that cannot be used.
void setUpTls(SSL_CTX& context, const ServerTlsFiles& files);

} // namespace keepsafe_sandbox

#endif
