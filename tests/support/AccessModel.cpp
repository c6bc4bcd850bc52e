#include "support/AccessModel.h"

#include <algorithm>

namespace keepsafe_test {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

bool anyRoleHolds(const Grants& grants, const std::set<int>& roleIds, std::int32_t bit)
{
    return std::any_of(roleIds.begin(), roleIds.end(), [&](int role) {
        const auto bits = grants.find(role);
        return bits != grants.end() && bits->second.count(bit) != 0;
    });
}

} // namespace

bool AccessModel::isAllowed(const std::set<int>& roleIds, std::int32_t bit,
                            const ObjectNamespace& object) const
{
    if (const auto found = objects.find(object); found != objects.end()) {
        if (anyRoleHolds(found->second.own, roleIds, bit)) {
            return true;
        }
        if (!found->second.inherit) {
            return false;
        }
    }
    for (auto current = object.parentNamespace(); current; current = current->parentNamespace()) {
        if (const auto found = objects.find(*current); found != objects.end()) {
            if (anyRoleHolds(found->second.children, roleIds, bit)) {
                return true;
            }
            if (!found->second.inherit) {
                return false;
            }
        }
    }
    return false;
}

} // namespace keepsafe_test
