#ifndef KSRBAC_REGISTRATION_OBJECTREQUEST_H
#define KSRBAC_REGISTRATION_OBJECTREQUEST_H

#include <list>
#include <optional>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/registration/ObjectRegistrationData.h>

#include "service/RoleNames.h"

namespace ksrbac {

/// What a role is granted on an object that is registered.
struct GrantRequest {
    int roleId = 0;
    std::list<Tessara::Keepsafe::Rbac::ObjectNamespace> operations;
    Tessara::Keepsafe::Rbac::Propagation propagation;
};

/// An object that shall be registered.
struct ObjectRequest {
    Tessara::Keepsafe::Rbac::ObjectNamespace object;
    std::string type;
    std::list<Tessara::Keepsafe::Rbac::ObjectNamespace> children; ///< relative to the object
    std::vector<GrantRequest> grants;
    std::optional<bool> inherit; ///< nothing: the service's choice
    bool ignoreRegistered = false;
};

/// A grant from ROLE:OPERATION,...[:PROPAGATION], with the role's id or its name. A colon or comma always
/// separates: one that is part of a name is written %3A or %2C, as the text form has them. Throws what
/// `readServiceRole` throws, and `InputError`.
GrantRequest parseGrant(const std::string& option, const std::string& text, RoleNames& names);

/// The request as the library takes it.
boost::shared_ptr<Tessara::Keepsafe::Rbac::ObjectRegistrationData>
registrationData(const ObjectRequest& request);

} // namespace ksrbac

#endif
