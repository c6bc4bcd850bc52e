#ifndef KEEPSAFE_TESTS_SUPPORT_ACCESSMODEL_H
#define KEEPSAFE_TESTS_SUPPORT_ACCESSMODEL_H

#include <cstdint>
#include <map>
#include <set>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace keepsafe_test {

/// Which bits each role holds.
using Grants = std::map<std::int32_t, std::set<std::int32_t>>;

struct ModelObject {
    bool inherit = true;
    Grants own;
    Grants children;
};

/// The content of an access cache as plain maps and sets, and the decision made the plain way: every
/// namespace from the object to the root is looked up by name. What the library answers from files is held
/// against it.
struct AccessModel {
    std::map<Tessara::Keepsafe::Rbac::ObjectNamespace, ModelObject> objects;

    [[nodiscard]] bool isAllowed(const std::set<int>& roleIds, std::int32_t bit,
                                 const Tessara::Keepsafe::Rbac::ObjectNamespace& object) const;
};

} // namespace keepsafe_test

#endif
