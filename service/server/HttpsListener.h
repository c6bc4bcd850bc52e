#ifndef KEEPSAFE_SANDBOX_SERVICE_HTTPSLISTENER_H
#define KEEPSAFE_SANDBOX_SERVICE_HTTPSLISTENER_H

#include <functional>
#include <memory>
#include <string>

#include "resources/Exchange.h"
#include "server/ListenAddress.h"

namespace keepsafe_sandbox {

/// What an HTTPS server asks of what answers its requests. Any thread calls these.
struct RequestAnswerer {
    std::function<ServiceResponse(const ServiceRequest&)> answer;
    /// The longest body that a request to this target may have.
    std::function<std::size_t(const std::string& target)> mostBodyBytes;
};

/// PEM files of a server, and of the authority that must have issued its clients' certificates.
struct ServerTlsFiles {
    std::string certificate;
    std::string key;
    std::string clientAuthority;
};

/// An HTTPS server: TLS 1.2 or later, clients with a certificate only. Every response of a status from 400 on
/// has an error document, also those to what is no proper request.
class HttpsListener {
public:
    /// Connections that are served at a time; others wait until one of these ends or was idle for a minute.
    static constexpr std::size_t CONNECTIONS_AT_A_TIME = 128;

    /// Binds the address: from here on clients can connect, and wait for `run`. Throws `InputError` for files
    /// that cannot be used, `std::runtime_error` when the address cannot be listened on.
    HttpsListener(const ListenAddress& address, const ServerTlsFiles& files, RequestAnswerer answerer);
    ~HttpsListener();
    HttpsListener(const HttpsListener&) = delete;
    HttpsListener& operator=(const HttpsListener&) = delete;

    /// Serves until `stop`. Throws `std::runtime_error` when the system does not let it go on.
    void run();

    /// Ends `run`: no connection is accepted any more, requests that have come whole are answered. Any
    /// thread, also before `run` has begun; not twice.
    void stop();

private:
    class Server;
    std::unique_ptr<Server> server_;
};

} // namespace keepsafe_sandbox

#endif
