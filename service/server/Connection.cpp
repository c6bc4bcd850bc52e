#include "server/Connection.h"

#include <new>
#include <utility>

#include <boost/asio/write.hpp>

#include "server/client_name.h"
#include "server/response_text.h"

namespace keepsafe_service {

namespace net = boost::asio;
using boost::system::error_code;

Connection::Connection(Socket socket, net::ssl::context* tls, const ServerLimits& limits,
                       RequestReader::BodyLimit mostBodyBytes, BodyBudget& bodies, ConnectionHost& host)
    : socket_(std::move(socket)), deadline_(socket_.get_executor()), limits_(limits), host_(host),
      reader_(std::move(mostBodyBytes), bodies)
{
    if (tls != nullptr) {
        tls_.emplace(socket_, *tls);
    }
}

void Connection::enter(Phase phase, std::chrono::milliseconds time)
{
    phase_ = phase;
    since_ = Clock::now();
    deadline_.expires_after(time);
    deadline_.async_wait([weak = weak_from_this()](const error_code& error) {
        const std::shared_ptr<Connection> self = error ? nullptr : weak.lock();
        // The deadline of a phase that has just ended may be on its way here, too.
        if (self != nullptr && self->deadline_.expiry() <= Clock::now()) {
            self->close();
        }
    });
}

void Connection::close()
{
    if (!isClosed_) {
        isClosed_ = true;
        error_code ignored;
        deadline_.cancel(ignored);
        socket_.close(ignored);
        host_.leave(*this);
    }
}

void Connection::begin()
{
    if (!tls_) {
        return welcome();
    }
    enter(Phase::Handshake, limits_.handshake);
    tls_->async_handshake(
        net::ssl::stream_base::server,
        [self = shared_from_this()](const error_code& error) { error ? self->close() : self->welcome(); });
}

void Connection::welcome()
{
    try {
        client_ = tls_ ? clientName(*tls_->native_handle()) : "";
    } catch (const std::bad_alloc&) {
        return close();
    }
    host_.welcome();
    enter(Phase::Idle, limits_.idle);
    receive();
}

void Connection::receive()
{
    withStream([this](auto& stream) {
        stream.async_read_some(net::buffer(received_),
                               [self = shared_from_this()](const error_code& error, std::size_t size) {
                                   if (error) {
                                       self->close();
                                   } else {
                                       self->take({self->received_.data(), size});
                                   }
                               });
    });
}

void Connection::take(std::string_view bytes)
{
    try {
        goOn(reader_.take(bytes));
    } catch (const std::bad_alloc&) {
        close(); // a body for which there is no memory ends its connection, not the server
    }
}

void Connection::goOn(RequestReader::State state)
{
    switch (state) {
    case RequestReader::State::Idle:
        enter(Phase::Idle, limits_.idle);
        return receive();
    case RequestReader::State::Header:
        if (phase_ != Phase::Header) {
            enter(Phase::Header, limits_.header);
        }
        return receive();
    case RequestReader::State::Body:
        if (phase_ != Phase::Body) {
            enter(Phase::Body, limits_.body);
        }
        return reader_.takeExpectation() ? askForBody() : receive();
    case RequestReader::State::Whole:
        phase_ = Phase::Answering;
        deadline_.expires_at(Clock::time_point::max()); // not just cancelled: see `enter`
        return host_.answer(shared_from_this(), takeRequest());
    case RequestReader::State::Refused:
        host_.noteRefusal();
        return awaitSent(send(reader_.refusal(), true));
    }
}

ServiceRequest Connection::takeRequest()
{
    ServiceRequest request = reader_.takeRequest();
    request.client = client_;
    return request;
}

void Connection::askForBody()
{
    static constexpr char goOn[] = "HTTP/1.1 100 Continue\r\n\r\n";
    withStream([this](auto& stream) {
        net::async_write(stream, net::buffer(goOn, sizeof goOn - 1),
                         [self = shared_from_this()](const error_code& error, std::size_t /*size*/) {
                             error ? self->close() : self->receive();
                         });
    });
}

unsigned Connection::respond(const ServiceResponse& response)
{
    return send(response, host_.isEnding() || !reader_.keepsConnection());
}

unsigned Connection::send(const ServiceResponse& response, bool isLast)
{
    const unsigned number = ++responses_;
    sending_ = responseText(response, reader_.wantsBody(), isLast);
    withStream([this, isLast, number](auto& stream) {
        net::async_write(stream, net::buffer(sending_),
                         [self = shared_from_this(), isLast, number](const error_code& error, std::size_t) {
                             self->sent_ = number;
                             error ? self->close() : self->continueAfter(isLast);
                         });
    });
    return number;
}

void Connection::awaitSent(unsigned number)
{
    if (sent_ != number) {
        enter(Phase::Sending, limits_.response);
    }
}

void Connection::continueAfter(bool isLast)
{
    if (host_.isEnding()) {
        close();
    } else if (isLast) {
        sayGoodbye();
    } else {
        goOn(reader_.next());
    }
}

// A socket that is closed while bytes of its client are still coming is reset, and the client may lose the
// response: it gets time to read that and to close.
void Connection::sayGoodbye()
{
    enter(Phase::Closing, limits_.goodbye);
    const auto endSending = [self = shared_from_this()](const error_code& /*error*/) {
        error_code ignored;
        self->socket_.shutdown(net::socket_base::shutdown_send, ignored);
        self->awaitGoodbye();
    };
    tls_ ? tls_->async_shutdown(endSending) : endSending({});
}

void Connection::awaitGoodbye()
{
    socket_.async_read_some(net::buffer(received_),
                            [self = shared_from_this()](const error_code& error, std::size_t) {
                                error ? self->close() : self->awaitGoodbye();
                            });
}

} // namespace keepsafe_service
