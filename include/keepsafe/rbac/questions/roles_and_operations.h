#ifndef KEEPSAFE_RBAC_QUESTIONS_ROLES_AND_OPERATIONS_H
#define KEEPSAFE_RBAC_QUESTIONS_ROLES_AND_OPERATIONS_H

#include <set>
#include <string>
#include <vector>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/questions/GrantScope.h>

/// \file
/// Who may, and what may they. Each question takes the cache's shared file lock once and answers from one
/// state of the policy. Any thread. Throws what `AccessChecker::checkAccess` and the operation cache throw,
/// and `EC_exception` 20 for a client that is neither the disk client nor the stub client.

namespace Tessara::Keepsafe::Rbac {

/// The roles of a session token's owner, for all questions that take role ids. Looks them up in the database
/// through `dbConnectionManager` (null: the one of the configuration), as `createAccessChecker` does, and
/// returns the same statuses; `roleIds` changes only on 0. The stub client looks at nothing: 0 and no role.
[[nodiscard]] KEEPSAFE_API int findRoles(AccessControlClient& client,
                                         Tessara::Dal::DbConnectionManager* dbConnectionManager,
                                         const std::string& sessionToken, std::set<int>& roleIds);

/// A role that is allowed something, and where it has that from.
struct AllowedRole {
    int roleId;
    std::vector<GrantPlace> grants; ///< all that count, the nearest to the object first; never empty
};

struct WhoMay {
    bool everybody; ///< enforcement is off: `roles` is empty
    /// By id, ascending. Role 0 is allowed every known operation, whether it is among them or not.
    std::vector<AllowedRole> roles;
};

/// The roles to which the cache grants the operation on the object. None for an operation that the operation
/// cache does not know. Looks at each role that has grants on the object's path.
[[nodiscard]] KEEPSAFE_API WhoMay whoMay(AccessControlClient& client, const ObjectNamespace& operation,
                                         const ObjectNamespace& object);

struct WhatMay {
    bool everything;                         ///< enforcement is off: `operations` is empty
    std::vector<ObjectNamespace> operations; ///< in the order of the bytes of their text forms
};

/// The operations of the operation cache that a caller with these roles may perform on the object: for role
/// 0, all of them. Reads the operation cache again if its file has changed.
[[nodiscard]] KEEPSAFE_API WhatMay whatMay(AccessControlClient& client, const std::set<int>& roleIds,
                                           const ObjectNamespace& object);

} // namespace Tessara::Keepsafe::Rbac

#endif
