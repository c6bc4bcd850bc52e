#ifndef KEEPSAFE_RBAC_API_DOCUMENT_H
#define KEEPSAFE_RBAC_API_DOCUMENT_H

#include <cstring>
#include <string>

#include <keepsafe/platform/status/status_codes.h>

#include "fail.h"
#include "load.h"

namespace Tessara::Keepsafe::Rbac {

/// The document in the text; null, and nothing logged, when it is not JSON.
inline JsonHandle tryLoad(const std::string& text)
{
    json_error_t ignored;
    return loadJson(text, ignored);
}

/// The member "data" of a document, borrowed. Throws `EC_exception` 7610 when there is none, or no document.
inline json_t* requireData(const json_t* document, const char* tag)
{
    json_t* const data = json_object_get(document, "data");
    if (data == nullptr) {
        diagnostics::fail(Status::MALFORMED_DOCUMENT, tag, "Error getting 'data' field from JSON response");
    }
    return data;
}

/// Throws `EC_exception` 9103 with a line in the log unless the type is the expected one. `message` is the
/// line's text before the type.
inline void requireType(const char* type, const char* wanted, const char* tag,
                        const std::string& message = "Unexpected response type")
{
    if (std::strcmp(type, wanted) != 0) {
        diagnostics::fail(Status::UNEXPECTED_RESPONSE, tag, message + ": " + type);
    }
}

/// Rejects a malformed resource.
[[noreturn]] inline void rejectForm(const json_error_t& error, const char* tag,
                                    const std::string& message = "Error parsing JSON response")
{
    diagnostics::fail(Status::MALFORMED_DOCUMENT, tag,
                      message + " at position " + std::to_string(error.position) + ": " + error.text);
}

} // namespace Tessara::Keepsafe::Rbac

#endif
