#ifndef KEEPSAFE_SERVICE_SERVER_CONNECTION_H
#define KEEPSAFE_SERVICE_SERVER_CONNECTION_H

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>

#include "resources/Exchange.h"
#include "server/RequestReader.h"
#include "server/ServerLimits.h"

namespace keepsafe_service {

class Connection;

/// What a connection needs of its server.
class ConnectionHost {
public:
    virtual ~ConnectionHost() = default;
    /// The client of one more connection has shown its certificate.
    virtual void welcome() = 0;
    /// Calls `respond` of the connection later, and then `awaitSent`.
    virtual void answer(const std::shared_ptr<Connection>& connection, ServiceRequest request) = 0;
    /// A request is refused before it is one.
    virtual void noteRefusal() = 0;
    /// Whether responses are the last ones of their connections.
    [[nodiscard]] virtual bool isEnding() const = 0;
    /// The connection is closed, whatever has ended it.
    virtual void leave(Connection& connection) = 0;
};

/// A client's connection from the handshake to its end, one request after the other. One thread at a time,
/// that which runs the executor; `respond` alone comes from elsewhere. What it waits for keeps it alive.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    using Clock = std::chrono::steady_clock;
    using Socket = boost::asio::generic::stream_protocol::socket;

    enum class Phase { Handshake, Idle, Header, Body, Answering, Sending, Closing };

    /// With TLS, or without it when `tls` is null. The host must outlive the connection's use, and the limits
    /// and the budget of bodies, too.
    Connection(Socket socket, boost::asio::ssl::context* tls, const ServerLimits& limits,
               RequestReader::BodyLimit mostBodyBytes, BodyBudget& bodies, ConnectionHost& host);

    void begin();
    /// While the phase is `Answering`: begins to send. Any thread. Returns the number of the response.
    unsigned respond(const ServiceResponse& response);
    /// After that: limits the time for sending, unless it is over.
    void awaitSent(unsigned number);
    /// At once, whatever it is doing.
    void close();

    [[nodiscard]] Phase phase() const noexcept { return phase_; }
    /// Since when it is in this phase.
    [[nodiscard]] Clock::time_point since() const noexcept { return since_; }

private:
    /// Calls it with what bytes are read from and written to.
    template <typename Call>
    void withStream(const Call& call)
    {
        tls_ ? call(*tls_) : call(socket_);
    }

    void enter(Phase phase, std::chrono::milliseconds time);
    void welcome();
    void receive();
    void take(std::string_view bytes);
    void goOn(RequestReader::State state);
    [[nodiscard]] ServiceRequest takeRequest();
    void askForBody();
    unsigned send(const ServiceResponse& response, bool isLast);
    void continueAfter(bool isLast);
    void sayGoodbye();
    void awaitGoodbye();

    Socket socket_;
    std::optional<boost::asio::ssl::stream<Socket&>> tls_; ///< over the socket
    boost::asio::steady_timer deadline_;
    const ServerLimits& limits_;
    ConnectionHost& host_;
    RequestReader reader_;
    std::string client_; ///< the subject of its certificate
    Phase phase_ = Phase::Handshake;
    Clock::time_point since_ = Clock::now();
    bool isClosed_ = false;
    std::array<char, 16384> received_; // one record of TLS
    std::string sending_;
    unsigned responses_ = 0; ///< whose sending has begun
    unsigned sent_ = 0;
};

} // namespace keepsafe_service

#endif
