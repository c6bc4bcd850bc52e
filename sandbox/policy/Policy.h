#ifndef KEEPSAFE_SANDBOX_POLICY_POLICY_H
#define KEEPSAFE_SANDBOX_POLICY_POLICY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/OperationCacheUpdate.h"

namespace keepsafe_sandbox {

struct PolicyRole {
    std::int32_t id;
    std::string name;
};

struct PolicyObject {
    Tessara::Keepsafe::Rbac::ObjectNamespace ns;
    bool inherit;
};

struct AccessDefinition {
    std::size_t object; ///< index in the policy's objects
    std::int32_t roleId;
    Tessara::Keepsafe::Rbac::Propagation propagation;
    std::vector<Tessara::Keepsafe::Rbac::Operation> operations;
};

/// A policy whose parts fit together: every access definition speaks of a role, an object and operations of
/// the policy; no two objects have the same name, no two roles the same id, no two operations the same bit.
struct Policy {
    keepsafe_service::OperationBits operations;
    std::vector<PolicyRole> roles;
    std::vector<PolicyObject> objects;
    std::vector<AccessDefinition> accessDefinitions;
};

} // namespace keepsafe_sandbox

#endif
