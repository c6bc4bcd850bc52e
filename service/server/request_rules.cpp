#include "server/request_rules.h"

#include <algorithm>
#include <string>

#include "decimal.h"

namespace keepsafe_service {

namespace {

namespace http = boost::beast::http;
using boost::beast::string_view;
using http::field;

constexpr int HTTP_1_0 = 10;
constexpr RequestFault OTHER_CODING = {400, "the header Transfer-Encoding is not \"chunked\""};
constexpr RequestFault BODY_NOT_ALLOWED = {400, "a request of this method has no body"};
constexpr RequestFault BODY_CODED = {415, "the header Content-Encoding is not supported"};

bool isKnown(http::verb method)
{
    switch (method) {
    case http::verb::get:
    case http::verb::head:
    case http::verb::post:
    case http::verb::put:
    case http::verb::patch:
    case http::verb::delete_:
    case http::verb::options:
    case http::verb::connect:
    case http::verb::trace:
        return true;
    default:
        return false;
    }
}

bool mayHaveBody(http::verb method)
{
    return method == http::verb::post || method == http::verb::put || method == http::verb::patch;
}

/// Only the form with a path: the server is no proxy, and knows nothing about itself as a whole.
bool isPath(string_view target)
{
    return target.front() == '/' && std::count(target.begin(), target.end(), '?') <= 1;
}

bool isHost(string_view host)
{
    return !host.empty() && host.find_first_of(" \t,/?#@\\\"<>") == string_view::npos;
}

bool namesItsHost(const RequestHeader& header)
{
    const std::size_t hosts = header.count(field::host);
    return hosts == 0 ? header.version() == HTTP_1_0 : hosts == 1 && isHost(header[field::host]);
}

/// The number, or a greater one than any limit for what is no plain decimal number.
constexpr std::size_t NO_LENGTH = std::string::npos;

std::size_t lengthOf(string_view text)
{
    constexpr std::size_t mostDigits = 18;
    std::size_t length = NO_LENGTH;
    if (text.size() <= mostDigits) {
        (void)Tessara::Keepsafe::Text::parseDecimal({text.data(), text.size()}, length);
    }
    return length;
}

const RequestFault* findBodyFault(const RequestHeader& header, std::size_t mostBodyBytes)
{
    const std::size_t lengths = header.count(field::content_length);
    const bool isChunked = header.count(field::transfer_encoding) > 0;
    if (lengths + header.count(field::transfer_encoding) > 1) {
        return &LENGTH_TWICE;
    }
    if (isChunked && (header[field::transfer_encoding] != "chunked" || header.version() == HTTP_1_0)) {
        return &OTHER_CODING;
    }
    const std::size_t length = lengths == 0 ? 0 : lengthOf(header[field::content_length]);
    if (length == NO_LENGTH) {
        return &LENGTH_NO_NUMBER;
    }
    if (length > mostBodyBytes) {
        return &BODY_TOO_LONG;
    }
    if ((isChunked || length > 0) && !mayHaveBody(header.method())) {
        return &BODY_NOT_ALLOWED;
    }
    return header.count(field::content_encoding) > 0 ? &BODY_CODED : nullptr;
}

} // namespace

const RequestFault* findFault(const RequestHeader& header, std::size_t mostBodyBytes)
{
    if (!isKnown(header.method()) || !isPath(header.target()) || !namesItsHost(header)) {
        return &NOT_HTTP;
    }
    return findBodyFault(header, mostBodyBytes);
}

} // namespace keepsafe_service
