#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_CONTENT_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_CONTENT_H

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "accesscontrol/records.h"
#include "cachewriter/OperationCacheUpdate.h"

/// \file
/// The access-control service's data in its stored form: objects by number, operations by permission
/// bit, names as text.

namespace keepsafe_service {

struct KeptObject {
    std::int32_t number = 0; ///< from 1
    std::string name;        ///< the namespace's text form
    std::string type;
    bool inherit = true;
    Tessara::Keepsafe::Rbac::ManagedObjectState state = Tessara::Keepsafe::Rbac::READY;
    std::int32_t registeredWith = 0; ///< the object that it was registered with; 0 for none
};

struct KeptDefinition {
    std::int32_t id = 0;     ///< from 1
    std::int32_t object = 0; ///< its number
    std::int32_t roleId = 0;
    Tessara::Keepsafe::Rbac::Propagation propagation;
    std::vector<std::int32_t> bits; ///< in the order of the grant
};

/// The next number; the last one is followed by itself.
inline std::int32_t nextAfter(std::int32_t number) noexcept
{
    return number == std::numeric_limits<std::int32_t>::max() ? number : number + 1;
}

/// The next ids. They never decrease; the last number is never used.
struct NextIds {
    std::int32_t role = 1;
    std::int32_t definition = 1;
};

inline bool operator==(const NextIds& left, const NextIds& right) noexcept
{
    return left.role == right.role && left.definition == right.definition;
}

/// Everything, ascending by id, number and name.
struct Content {
    std::vector<RoleRecord> roles;
    OperationBits operations;
    std::vector<KeptObject> objects;
    std::vector<KeptDefinition> definitions;
    NextIds next;
};

/// A set of changes. Added items are new or replace those with their id.
struct Changes {
    std::vector<std::int32_t> removedDefinitions;
    std::vector<std::int32_t> removedObjects; ///< their definitions are among the removed ones
    std::vector<std::int32_t> removedRoles;   ///< likewise
    std::vector<RoleRecord> roles;
    std::vector<KeptObject> objects;
    std::vector<KeptDefinition> definitions; ///< new ones
    NextIds next;
};

} // namespace keepsafe_service

#endif
