#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_RECORDS_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_RECORDS_H

#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/rbac/api/ManagedObjectState.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// What the access-control service keeps.

namespace keepsafe_service {

struct RoleRecord {
    std::int32_t id = 0;
    std::string name;
    std::string description;
    bool systemDefined = false; ///< belongs to the product: cannot be changed or deleted
};

struct ObjectRecord {
    Tessara::Keepsafe::Rbac::ObjectNamespace ns;
    std::string type;    ///< what kind of object its owner says it is; may be empty
    bool inherit = true; ///< takes the child grants of the objects above
    /// `READY` or `PENDING`; what is deleted is not kept.
    Tessara::Keepsafe::Rbac::ManagedObjectState state = Tessara::Keepsafe::Rbac::READY;
};

/// What a grant says, before it has an id and an object.
struct Grant {
    std::int32_t roleId = 0;
    Tessara::Keepsafe::Rbac::Propagation propagation;
    std::vector<Tessara::Keepsafe::Rbac::ObjectNamespace> operations;
};

struct AccessDefinitionRecord {
    std::string id; ///< decimal; never given out twice
    Tessara::Keepsafe::Rbac::ObjectNamespace object;
    Grant grant;
};

/// One object to register, with the objects below it that come with it.
struct Registration {
    Tessara::Keepsafe::Rbac::ObjectNamespace ns;
    std::string type;
    bool ignoreAlreadyRegistered = false;
    bool inherit = true;
    std::vector<Grant> grants;                                      ///< on `ns`
    std::vector<Tessara::Keepsafe::Rbac::ObjectNamespace> children; ///< absolute
};

/// What a registration has made pending: the object first, then its children. Empty when all of it was
/// registered already.
struct RegisteredObjects {
    Tessara::Keepsafe::Rbac::ObjectNamespace ns;
    std::vector<Tessara::Keepsafe::Rbac::ObjectNamespace> registered;
};

struct StateChange {
    Tessara::Keepsafe::Rbac::ObjectNamespace ns;
    Tessara::Keepsafe::Rbac::ManagedObjectState state = Tessara::Keepsafe::Rbac::READY;
};

} // namespace keepsafe_service

#endif
