#ifndef KEEPSAFE_RBAC_API_DOCUMENT_H
#define KEEPSAFE_RBAC_API_DOCUMENT_H

#include <cstring>
#include <string>

#include <boost/shared_ptr.hpp>
#include <jansson.h>

#include <keepsafe/platform/status/status_codes.h>

#include "fail.h"

namespace Tessara::Keepsafe::Rbac {

/// The document in the text; empty, and nothing logged, when it is not JSON.
inline boost::shared_ptr<json_t> tryLoad(const std::string& text)
{
    return boost::shared_ptr<json_t>(json_loads(text.c_str(), 0, nullptr), json_decref);
}

/// The member "data", borrowed. Throws `EC_exception` 7610 when there is none, or no document.
inline json_t* requireData(const boost::shared_ptr<json_t>& document, const char* tag)
{
    json_t* const data = json_object_get(document.get(), "data");
    if (data == nullptr) {
        diagnostics::fail(Status::MALFORMED_DOCUMENT, tag, "Error getting 'data' field from JSON response");
    }
    return data;
}

/// Throws `EC_exception` 9103 with a line in the log unless the type is the wanted one. `message` is what the
/// line says before the type.
inline void requireType(const char* type, const char* wanted, const char* tag,
                        const std::string& message = "Unexpected response type")
{
    if (std::strcmp(type, wanted) != 0) {
        diagnostics::fail(Status::UNEXPECTED_RESPONSE, tag, message + ": " + type);
    }
}

/// A resource that has not the form it should have.
[[noreturn]] inline void rejectForm(const json_error_t& error, const char* tag,
                                    const std::string& message = "Error parsing JSON response")
{
    diagnostics::fail(Status::MALFORMED_DOCUMENT, tag,
                      message + " at position " + std::to_string(error.position) + ": " + error.text);
}

} // namespace Tessara::Keepsafe::Rbac

#endif
