#ifndef KEEPSAFE_RBAC_REGISTRATION_DOCUMENTS_H
#define KEEPSAFE_RBAC_REGISTRATION_DOCUMENTS_H

#include <keepsafe/rbac/registration/ObjectRegistrationData.h>

namespace Tessara::Keepsafe::Rbac {

/// Whether the data can be sent: there is some, with accessControlAttributes.
inline bool isComplete(const boost::shared_ptr<ObjectRegistrationData>& data) noexcept
{
    return data != nullptr && data->accessControlAttributes != nullptr;
}

} // namespace Tessara::Keepsafe::Rbac

#endif
