#include "server/request_framing.h"

#include <algorithm>

namespace keepsafe_sandbox {

namespace {

constexpr char LENGTH[] = "Content-Length";
constexpr char CODING[] = "Transfer-Encoding";

/// The number, or nothing for what is no plain decimal number of a size that matters.
std::optional<std::size_t> toLength(const std::string& text)
{
    constexpr std::size_t mostDigits = 18;
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (text.empty() || text.size() > mostDigits || !std::all_of(text.begin(), text.end(), isDigit)) {
        return std::nullopt;
    }
    return std::stoull(text);
}

bool isChunked(const httplib::Request& request) { return request.has_header(CODING); }

bool mayHaveBody(const std::string& method)
{
    return method == "POST" || method == "PUT" || method == "PATCH";
}

} // namespace

std::optional<FramingFault> findFramingFault(const httplib::Request& request, std::size_t mostBodyBytes)
{
    constexpr int badRequest = 400;
    const auto fault = [](int status, const char* message) { return FramingFault{status, message}; };
    const std::size_t lengths = request.get_header_value_count(LENGTH);
    const std::size_t codings = request.get_header_value_count(CODING);
    if (lengths + codings > 1) {
        return fault(badRequest, "the request says more than once how long its body is");
    }
    if (codings == 1 && request.get_header_value(CODING) != "chunked") {
        return fault(badRequest, "the header Transfer-Encoding is not \"chunked\"");
    }
    if (lengths == 1) {
        const std::optional<std::size_t> length = toLength(request.get_header_value(LENGTH));
        if (!length) {
            return fault(badRequest, "the header Content-Length is no number");
        }
        if (*length > mostBodyBytes) {
            return fault(413, "the request's body is too long");
        }
    }
    if (hasBody(request) && !mayHaveBody(request.method)) {
        return fault(badRequest, "a request of this method has no body");
    }
    if (request.has_header("Content-Encoding")) {
        return fault(415, "the header Content-Encoding is not supported");
    }
    return std::nullopt;
}

bool hasBody(const httplib::Request& request)
{
    return isChunked(request) || toLength(request.get_header_value(LENGTH)).value_or(0) > 0;
}

} // namespace keepsafe_sandbox
