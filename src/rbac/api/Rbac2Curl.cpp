#include <keepsafe/rbac/api/Rbac2Curl.h>

#include <cstddef>
#include <limits>

#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/uri/percent_encode.h>

#include "document.h"
#include "requests.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// The server's error document; borrows from the document it was read from.
struct ServerError {
    json_int_t code = 0;
    const char* message = nullptr;
    json_t* details = nullptr;
};

/// False when it is none. That includes one whose code is 0, which would look like success, or no `int`, as
/// `extractErrorFromJSON` has it.
bool unpack(json_t* document, ServerError& error)
{
    json_error_t reason;
    return document != nullptr &&
           json_unpack_ex(document, &reason, 0, "{s:I, s:s, s?:o}", "errorCode", &error.code, "errorMessage",
                          &error.message, "errorDetails", &error.details) == 0 &&
           error.code != Status::SUCCESS && error.code >= std::numeric_limits<int>::min() &&
           error.code <= std::numeric_limits<int>::max();
}

/// The message and, in parentheses, the details. The text ends before a detail that is not a string, without
/// the closing parenthesis.
std::string textOf(const ServerError& error)
{
    std::string text = error.message;
    const std::size_t count = json_array_size(error.details);
    const char* separator = " (";
    for (std::size_t index = 0; index < count; ++index, separator = "; ") {
        text += separator;
        const char* const detail = json_string_value(json_array_get(error.details, index));
        if (detail == nullptr) {
            return text;
        }
        text += detail;
    }
    return count == 0 ? text : text + ")";
}

} // namespace

std::string encode_uri_part(const std::string& text)
{
    std::string encoded;
    const int status = percentEncodeUriPart(text, encoded);
    if (status != Status::SUCCESS) {
        diagnostics::fail(status, "rbac2_encode_uri_part",
                          "Failed to encode. str=" + text + ", status=" + std::to_string(status));
    }
    return encoded;
}

int logRefusal(long httpStatus, const std::string& body, const char* tag)
{
    const auto actual = static_cast<int>(httpStatus);
    const JsonHandle document = tryLoad(body);
    ServerError error;
    if (!unpack(document.get(), error)) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Unexpected HTTP status: %d", actual);
        return Status::CONVERSION_FAILED;
    }
    logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Unexpected HTTP status: %d: %s", actual, textOf(error).c_str());
    return static_cast<int>(error.code);
}

void throw_on_http_error(int expected, int actual, const std::string& body, const char* tag)
{
    if (actual != expected) {
        throw ServiceRefusal(logRefusal(actual, body, tag), actual, body);
    }
}

} // namespace Tessara::Keepsafe::Rbac
