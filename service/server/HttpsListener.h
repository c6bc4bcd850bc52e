#ifndef KEEPSAFE_SERVICE_SERVER_HTTPSLISTENER_H
#define KEEPSAFE_SERVICE_SERVER_HTTPSLISTENER_H

#include <functional>
#include <memory>
#include <string>

#include "resources/Exchange.h"
#include "server/ListenAddress.h"
#include "server/ServerLimits.h"
#include "server/tls_setup.h"

namespace keepsafe_sandbox {

/// What an HTTPS server asks of what answers its requests.
struct RequestAnswerer {
    /// By several threads at a time.
    std::function<ServiceResponse(const ServiceRequest&)> answer;
    /// The longest body that a request to this target may have. By one thread.
    std::function<std::size_t(const std::string& target)> mostBodyBytes;
};

/// An HTTPS server: TLS 1.2 or later, clients with a certificate only. Every response of a status from 400 on
/// has an error document, also those to what is no proper request. A thread waits for all
/// clients, however many, and others answer their requests.
class HttpsListener {
public:
    /// Binds the address: from here on clients can connect, and wait for `run`. Throws `InputError` for files
    /// that cannot be used, `std::runtime_error` when the address cannot be listened on.
    HttpsListener(const ListenAddress& address, const ServerTlsFiles& files, RequestAnswerer answerer,
                  const ServerLimits& limits = {});
    /// Waits for requests that are still being answered.
    ~HttpsListener();
    HttpsListener(const HttpsListener&) = delete;
    HttpsListener& operator=(const HttpsListener&) = delete;

    /// Serves until `stop`. Returns false when requests were still being answered when the time for that was
    /// over. Throws `std::runtime_error` when the system does not let it go on.
    [[nodiscard]] bool run();

    /// Ends `run`: no connection is accepted any more, requests that have come whole are answered. Any
    /// thread, also before `run` has begun.
    void stop();

private:
    class Server;
    std::unique_ptr<Server> server_;
};

} // namespace keepsafe_sandbox

#endif
