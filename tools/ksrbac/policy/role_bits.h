#ifndef KSRBAC_POLICY_ROLE_BITS_H
#define KSRBAC_POLICY_ROLE_BITS_H

#include <cstdint>
#include <map>
#include <set>

#include <keepsafe/rbac/questions/policy_contents.h>

namespace ksrbac {

/// Operation numbers by role. A role without any is not in it.
using RoleBits = std::map<std::int32_t, std::set<std::int32_t>>;

[[nodiscard]] RoleBits bitsOf(const Tessara::Keepsafe::Rbac::RoleWords& words);
[[nodiscard]] Tessara::Keepsafe::Rbac::RoleWords wordsOf(const RoleBits& bits);

/// An object's grants by where they apply, each in one place.
struct ScopedRoleBits {
    RoleBits both;
    RoleBits onObject;
    RoleBits onChildren;
};
[[nodiscard]] ScopedRoleBits bitsByScope(const Tessara::Keepsafe::Rbac::GrantedObject& object);

} // namespace ksrbac

#endif
