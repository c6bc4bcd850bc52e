#ifndef KEEPSAFE_SERVICE_SERVER_TLS_SETUP_H
#define KEEPSAFE_SERVICE_SERVER_TLS_SETUP_H

#include <string>

namespace boost::asio::ssl {
class context;
}

namespace keepsafe_service {

/// PEM files of a server, and of the authority that must have issued its clients' certificates.
struct ServerTlsFiles {
    std::string certificate;
    std::string key;
    std::string clientAuthority;
};

/// TLS 1.2 or later, clients with a certificate only. Throws `InputError` for files that cannot be used; only
/// regular ones of up to 1 MiB can that not everybody may write. Nobody is asked for the pass phrase of a
/// key.
void setUpTls(boost::asio::ssl::context& context, const ServerTlsFiles& files);

} // namespace keepsafe_service

#endif
