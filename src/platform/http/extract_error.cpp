#include <keepsafe/platform/http/extract_error.h>

#include <keepsafe/platform/status/status_codes.h>
#include <limits>

#include "load.h"

namespace {

namespace Status = Tessara::Keepsafe::Status;

bool isErrorCode(const json_t* value)
{
    const json_int_t code = json_integer_value(value);
    return json_is_integer(value) && code != Status::SUCCESS && code >= std::numeric_limits<int>::min() &&
           code <= std::numeric_limits<int>::max();
}

} // namespace

int extractErrorFromJSON(const std::string& body, int& errorCode, std::string& errorMessage)
{
    json_error_t ignored;
    const Tessara::Keepsafe::JsonHandle document = Tessara::Keepsafe::loadJson(body, ignored);
    const json_t* const code = json_object_get(document.get(), "errorCode");
    const json_t* const message = json_object_get(document.get(), "errorMessage");
    if (!isErrorCode(code) || !json_is_string(message)) {
        return Status::MALFORMED_DOCUMENT;
    }
    errorMessage.assign(json_string_value(message), json_string_length(message));
    errorCode = static_cast<int>(json_integer_value(code));
    return Status::SUCCESS;
}
