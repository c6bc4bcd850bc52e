#ifndef KEEPSAFE_SERVICE_SERVER_REQUESTREADER_H
#define KEEPSAFE_SERVICE_SERVER_REQUESTREADER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "resources/Exchange.h"
#include "server/BodyBudget.h"

namespace keepsafe_service {

struct RequestFault;

/// Splits the bytes of a connection into requests, HTTP/1.0 or 1.1, by the strictest reading of RFC 9112:
/// where a request ends decides where the next one begins, so whatever two readers could understand
/// differently is refused. Knows nothing of sockets and time.
class RequestReader {
public:
    /// Bytes of a request line, and of the whole header with it.
    static constexpr std::size_t MOST_LINE_BYTES = 8192;
    static constexpr std::size_t MOST_HEADER_BYTES = std::size_t(32) * 1024;

    enum class State {
        Idle,    ///< nothing of the next request has come
        Header,  ///< a part of its header has come
        Body,    ///< its header has come, and perhaps a part of its body
        Whole,   ///< `takeRequest` has it
        Refused, ///< `refusal` says why, and nothing more is read
    };

    /// The longest body that a request to a target may have.
    using BodyLimit = std::function<std::size_t(const std::string& target)>;

    /// The budget is that of all readers together, and outlives them.
    RequestReader(BodyLimit mostBodyBytes, BodyBudget& budget);
    ~RequestReader();
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;

    /// Reads on with more bytes of the connection.
    State take(std::string_view bytes);
    /// After `Whole`, when the request has been answered: begins with the next one, of which a part may have
    /// come with it.
    State next();

    [[nodiscard]] ServiceRequest takeRequest() { return std::move(request_); }
    [[nodiscard]] const ServiceResponse& refusal() const noexcept { return refusal_; }
    /// Whether the connection goes on when the request has been answered.
    [[nodiscard]] bool keepsConnection() const noexcept { return keepsConnection_; }
    /// Whether the response has a body: one to HEAD has not.
    [[nodiscard]] bool wantsBody() const noexcept { return wantsBody_; }
    /// In `Body`, once: whether the client sends the body only when it is asked to go on.
    [[nodiscard]] bool takeExpectation() noexcept { return std::exchange(expectsContinue_, false); }

private:
    struct Parser;

    State read();
    State readHeader();
    /// Looks on for the end of the header: its size, 0 when it has not come yet or the request is refused.
    std::size_t findHeaderEnd();
    void begin();
    State readBody();
    State refuse(const RequestFault& fault);

    const BodyLimit mostBodyBytes_;
    State state_ = State::Idle;
    std::string received_;    ///< what has come and is not parsed yet
    std::size_t scanned_ = 0; ///< as far as this the end of the header is not in it
    std::unique_ptr<Parser> parser_;
    BodyShare body_; ///< of the request that is read or answered
    ServiceRequest request_;
    ServiceResponse refusal_;
    bool keepsConnection_ = false;
    bool wantsBody_ = true;
    bool expectsContinue_ = false;
};

} // namespace keepsafe_service

#endif
