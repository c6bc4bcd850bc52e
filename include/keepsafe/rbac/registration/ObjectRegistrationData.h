#ifndef KEEPSAFE_RBAC_REGISTRATION_OBJECTREGISTRATIONDATA_H
#define KEEPSAFE_RBAC_REGISTRATION_OBJECTREGISTRATIONDATA_H

#include <list>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

struct json_t;

namespace Tessara::Keepsafe::Rbac {

/// One object to register, as the caller describes it. A plain value; registration only reads it, but one
/// thread at a time may use it, since names keep their text form on first use.
struct ObjectRegistrationData {
    ObjectNamespace objectNamespace;
    std::string objectType; ///< in UTF-8
    /// What the service is to grant on the object; sent unchanged. Required, may be an empty object.
    boost::shared_ptr<json_t> accessControlAttributes;
    /// Objects below this one that are registered with it, named relative to it.
    std::list<ObjectNamespace> relativeChildNamespaces;
    /// An object that is already registered is not an error.
    bool ignoreAlreadyRegistered = false;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
