#ifndef KEEPSAFE_SERVICE_SERVER_HTTPSLISTENER_H
#define KEEPSAFE_SERVICE_SERVER_HTTPSLISTENER_H

#include "server/HttpServer.h"
#include "server/ListenAddress.h"
#include "server/tls_setup.h"

namespace keepsafe_service {

/// An HTTPS server: TLS 1.2 or later, clients with a certificate only.
class HttpsListener : public HttpServer {
public:
    /// Binds the address: from here on clients can connect, and wait for `run`. Throws `InputError` for files
    /// that cannot be used, `std::runtime_error` when the address cannot be listened on.
    HttpsListener(const ListenAddress& address, const ServerTlsFiles& files, RequestAnswerer answerer,
                  const ServerLimits& limits = {});
};

} // namespace keepsafe_service

#endif
