#ifndef KEEPSAFE_RBAC_REGISTRATION_DOCUMENTS_H
#define KEEPSAFE_RBAC_REGISTRATION_DOCUMENTS_H

#include <string>
#include <typeinfo>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/registration/ObjectRegistrationData.h>

#include "fail.h"

namespace Tessara::Keepsafe::Rbac {

/// Whether the data can be sent: there is some, with accessControlAttributes.
inline bool isComplete(const boost::shared_ptr<ObjectRegistrationData>& data) noexcept
{
    return data != nullptr && data->accessControlAttributes != nullptr;
}

inline void requireComplete(const boost::shared_ptr<ObjectRegistrationData>& data)
{
    if (!isComplete(data)) {
        diagnostics::fail(Status::INVALID_ARGUMENT, "DefaultObjectRegistrationService::buildRegistrationJSON",
                          "ObjectRegistrationData and AccessControlAttributes are required");
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
