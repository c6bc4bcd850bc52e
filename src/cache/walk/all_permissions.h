#ifndef KEEPSAFE_CACHE_WALK_ALL_PERMISSIONS_H
#define KEEPSAFE_CACHE_WALK_ALL_PERMISSIONS_H

#include <set>

namespace Tessara::Keepsafe::Rbac::detail {

/// Whether the caller holds role 0, whose holders may do everything that is a known operation.
[[nodiscard]] inline bool hasAllPermissions(const std::set<int>& roleIds) { return roleIds.count(0) != 0; }

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
