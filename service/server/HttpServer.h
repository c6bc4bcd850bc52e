#ifndef KEEPSAFE_SERVICE_SERVER_HTTPSERVER_H
#define KEEPSAFE_SERVICE_SERVER_HTTPSERVER_H

#include <memory>
#include <optional>
#include <string>

#include <boost/asio/ssl/context.hpp>

#include "Descriptor.h"
#include "server/RequestAnswerer.h"
#include "server/ServerCounts.h"
#include "server/ServerLimits.h"

namespace keepsafe_service {

/// Where the clients of a server come in.
struct Entrance {
    std::optional<boost::asio::ssl::context> tls;  ///< nothing: there is no TLS
    Tessara::Keepsafe::Process::Descriptor socket; ///< listens already
    std::string address;                           ///< for messages
};

/// A server of HTTP/1.1, with TLS or without it. Every response of a status from
/// 400 on has an error document, also those to what is no proper request. A thread waits for all clients,
/// however many, and others answer their requests.
class HttpServer {
public:
    HttpServer(Entrance entrance, RequestAnswerer answerer, const ServerLimits& limits);
    /// Waits for requests that are still being answered.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Serves until `stop`. Returns false when requests were still being answered when the time for that was
    /// over. Throws `std::runtime_error` when the system does not let it go on.
    [[nodiscard]] bool run();

    /// Ends `run`: no connection is accepted any more, requests that have come whole are answered. Any
    /// thread, also before `run` has begun.
    void stop();

    /// Whether, since the last call, it has looked after its clients and, if requests were waiting for others
    /// to be answered, has answered one. False at first. One thread.
    [[nodiscard]] bool hasMadeProgress();

    [[nodiscard]] const ServerCounts& counts() const noexcept;
    /// What the bodies of all requests take at the moment.
    [[nodiscard]] std::size_t bodyBytes() const noexcept;

private:
    class Server;
    std::unique_ptr<Server> server_;
};

} // namespace keepsafe_service

#endif
