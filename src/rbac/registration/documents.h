#ifndef KEEPSAFE_RBAC_REGISTRATION_DOCUMENTS_H
#define KEEPSAFE_RBAC_REGISTRATION_DOCUMENTS_H

#include <string>
#include <typeinfo>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/registration/ObjectRegistrationData.h>

#include "fail.h"

namespace Tessara::Keepsafe::Rbac {

constexpr char RECORD_TAG[] = "DefaultObjectRegistrationService::buildRegistrationJSON";

/// Throws 20 when there is no data. Data without accessControlAttributes cannot be packed either, as Jansson
/// words it: `json_pack_shared` logs that and throws `std::bad_alloc`.
inline void requireComplete(const ObjectRegistrationData* data)
{
    if (data == nullptr) {
        diagnostics::fail(Status::INVALID_ARGUMENT, RECORD_TAG, "ObjectRegistrationData is required");
    }
    if (data->accessControlAttributes == nullptr) {
        (void)json_pack_shared("{s:O}", "accessControlAttributes", nullptr);
    }
}

/// Throws 20 for a text with a zero byte: C functions would take what is before it for the whole.
inline void requireNoZeroByte(const std::string& text, const char* what)
{
    if (text.find('\0') != std::string::npos) {
        diagnostics::fail(Status::INVALID_ARGUMENT, RECORD_TAG, std::string(what) + " contains a zero byte");
    }
}

/// The text form, or `boost::bad_lexical_cast`, without the stream of a lexical cast. It needs no escapes in
/// JSON.
inline const std::string& textOf(const ObjectNamespace& objectNamespace)
{
    try {
        return objectNamespace.str();
    } catch (const EC_exception&) {
        throw boost::bad_lexical_cast(typeid(ObjectNamespace), typeid(std::string));
    }
}

} // namespace Tessara::Keepsafe::Rbac

#endif
