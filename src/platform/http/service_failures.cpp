#include <keepsafe/platform/http/service_failures.h>

#include <cstddef>
#include <utility>

#include <jansson.h>

#include <keepsafe/platform/http/extract_error.h>
#include <keepsafe/platform/status/status_codes.h>

#include "load.h"

namespace Tessara::Keepsafe {

namespace {

/// " (a; b)", or nothing when there are no details. One that only repeats the message is left out.
std::string detailsOf(const std::string& body, const std::string& message)
{
    json_error_t ignored;
    const JsonHandle document = loadJson(body, ignored);
    const json_t* const details = json_object_get(document.get(), "errorDetails");
    std::string text;
    for (std::size_t index = 0; index < json_array_size(details); ++index) {
        const json_t* const detail = json_array_get(details, index);
        const std::string said =
            json_is_string(detail) ? std::string(json_string_value(detail), json_string_length(detail)) : "";
        if (!said.empty() && said != message) {
            text += (text.empty() ? "" : "; ") + said;
        }
    }
    return text.empty() ? "" : " (" + text + ')';
}

std::string reasonOf(long httpStatus, const std::string& body)
{
    const std::string reason = "HTTP status " + std::to_string(httpStatus);
    int code = 0;
    std::string message;
    return extractErrorFromJSON(body, code, message) == Status::SUCCESS
               ? reason + ": " + message + detailsOf(body, message)
               : reason;
}

} // namespace

ServiceRefusal::ServiceRefusal(int status, long httpStatus, const std::string& body)
    : ExplainedFailure(status, reasonOf(httpStatus, body)), httpStatus_(httpStatus)
{
    std::string message;
    (void)extractErrorFromJSON(body, errorCode_,
                               message); // leaves both as they are without an error document
    message_ = std::make_shared<const std::string>(std::move(message));
}

ServiceRefusal::~ServiceRefusal() = default;
TransferFailure::~TransferFailure() = default;

} // namespace Tessara::Keepsafe
