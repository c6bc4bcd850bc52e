#include "server/RequestReader.h"

#include <cstdint>
#include <limits>
#include <string>

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "resources/error_documents.h"
#include "server/request_rules.h"

namespace keepsafe_service {

namespace {

namespace http = boost::beast::http;
namespace net = boost::asio;
using boost::beast::error_code;
using boost::beast::string_view;
using http::field;

/// A request may have as many bytes of extensions of its chunks, and as many that its next chunk's header or
/// its trailer waits for.
constexpr std::size_t MOST_EXTENSION_BYTES = 4096;

/// The parser gives one error for all that is wrong with the length.
const RequestFault& headerFault(const error_code& error, const http::fields& fieldsBefore)
{
    if (error != http::error::bad_content_length && error != http::error::bad_transfer_encoding) {
        return NOT_HTTP;
    }
    const bool hasLength =
        fieldsBefore.count(field::content_length) + fieldsBefore.count(field::transfer_encoding) > 0;
    return hasLength ? LENGTH_TWICE : LENGTH_NO_NUMBER;
}

} // namespace

struct RequestReader::Parser {
    Parser()
    {
        http.header_limit(MOST_HEADER_BYTES + 1);                   // smaller than this when it comes here
        http.body_limit(std::numeric_limits<std::uint64_t>::max()); // until the target is known
        http.on_chunk_header(onChunk);
    }

    http::request_parser<http::string_body> http;
    std::size_t extensionBytes = 0;
    std::function<void(std::uint64_t, string_view, error_code&)> onChunk =
        [this](std::uint64_t /*size*/, string_view extensions, error_code& error) {
            extensionBytes += extensions.size();
            if (extensionBytes > MOST_EXTENSION_BYTES) {
                error = http::error::bad_chunk_extension;
            }
        };
};

RequestReader::RequestReader(BodyLimit mostBodyBytes, BodyBudget& budget)
    : mostBodyBytes_(std::move(mostBodyBytes)), body_(budget)
{
}

RequestReader::~RequestReader() = default;

RequestReader::State RequestReader::take(std::string_view bytes)
{
    received_.append(bytes);
    return read();
}

RequestReader::State RequestReader::next()
{
    state_ = State::Idle;
    body_.giveBack();
    return read();
}

RequestReader::State RequestReader::read()
{
    switch (state_) {
    case State::Idle:
    case State::Header:
        return received_.empty() ? state_ : readHeader();
    case State::Body:
        return readBody();
    case State::Whole:
    case State::Refused:
        break;
    }
    return state_;
}

std::size_t RequestReader::findHeaderEnd()
{
    for (; scanned_ < received_.size(); ++scanned_) {
        const std::string_view header(received_.data(), scanned_ + 1);
        const char last = header.back();
        const char before = scanned_ == 0 ? '\0' : header[scanned_ - 1];
        const bool isFolded = before == '\n' && (last == ' ' || last == '\t');
        if (isFolded || (last == '\n' && before != '\r')) {
            refuse(NOT_HTTP);
            return 0;
        }
        if (scanned_ == MOST_LINE_BYTES && header.find('\n') == std::string_view::npos) {
            refuse(TARGET_TOO_LONG);
            return 0;
        }
        if (scanned_ == MOST_HEADER_BYTES) {
            refuse(HEADER_TOO_LONG);
            return 0;
        }
        if (last == '\n' && header.size() >= 4 && header.substr(header.size() - 4) == "\r\n\r\n") {
            return header.size();
        }
    }
    return 0;
}

RequestReader::State RequestReader::readHeader()
{
    state_ = State::Header;
    const std::size_t size = findHeaderEnd();
    if (size == 0) {
        return state_;
    }
    scanned_ = 0;
    parser_ = std::make_unique<Parser>();
    error_code error;
    const std::size_t parsed = parser_->http.put(net::buffer(received_.data(), size), error);
    if (error || parsed != size || !parser_->http.is_header_done()) {
        return refuse(headerFault(error, parser_->http.get()));
    }
    const auto& header = parser_->http.get();
    const std::size_t most = mostBodyBytes_(std::string(header.target()));
    if (const RequestFault* fault = findFault(header, most)) {
        return refuse(*fault);
    }
    received_.erase(0, size);
    begin();
    parser_->http.body_limit(most);
    return parser_->http.is_done() ? state_ = State::Whole : readBody();
}

/// Keeps what the header says; what the trailer might say besides does not count.
void RequestReader::begin()
{
    constexpr unsigned http11 = 11;
    const auto& header = parser_->http.get();
    request_ = {std::string(header.method_string()), std::string(header.target()),
                std::string(header[field::content_type]), ""};
    request_.accept = std::string(header[field::accept]);
    keepsConnection_ = header.version() == http11 && parser_->http.keep_alive();
    wantsBody_ = header.method() != http::verb::head;
    expectsContinue_ = header.version() == http11 && received_.empty() &&
                       boost::beast::iequals(header[field::expect], "100-continue");
    parser_->http.eager(true);
    state_ = State::Body;
}

RequestReader::State RequestReader::readBody()
{
    if (received_.empty()) {
        return state_;
    }
    error_code error;
    received_.erase(0, parser_->http.put(net::buffer(received_), error));
    if (!body_.growTo(parser_->http.get().body().size())) {
        return refuse(BODIES_TOO_LONG);
    }
    if (parser_->http.is_done()) {
        request_.body = std::move(parser_->http.get().body());
        return state_ = State::Whole;
    }
    if (error == http::error::body_limit) {
        return refuse(BODY_TOO_LONG);
    }
    const bool isWaiting = !error || error == http::error::need_more;
    return isWaiting && received_.size() <= MOST_EXTENSION_BYTES ? state_ : refuse(BODY_ENDS_BADLY);
}

RequestReader::State RequestReader::refuse(const RequestFault& fault)
{
    refusal_ = protocolErrorResponse(fault.httpStatus, fault.message);
    received_.clear();
    parser_.reset();
    body_.giveBack();
    keepsConnection_ = false;
    return state_ = State::Refused;
}

} // namespace keepsafe_service
