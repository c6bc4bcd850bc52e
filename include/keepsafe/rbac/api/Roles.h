#ifndef KEEPSAFE_RBAC_API_ROLES_H
#define KEEPSAFE_RBAC_API_ROLES_H

#include <list>
#include <string>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/api/BaseAPI.h>

struct json_t;

namespace Tessara::Keepsafe::Rbac {

/// A role as the service returns it.
struct KEEPSAFE_API Role {
    Role() = default;
    /// From a resource object, which stays the caller's. Throws `EC_exception` 7610 when it does not have the
    /// form of a role, 9103 when it is of another type or its id is not a number from 0 on.
    explicit Role(const json_t* resource);

    std::string href; ///< the role's own link; empty when the service sent none
    int id = 0;
    std::string name;
    std::string description;    ///< empty when there is none
    bool systemDefined = false; ///< the product defines this role itself
};

/// Creates, reads, changes and deletes roles. Any thread; see `BaseAPI` for failures.
class KEEPSAFE_API RoleAPI : public BaseAPI {
public:
    using BaseAPI::BaseAPI;

    /// Throws `std::length_error` for a name of more than 64 bytes, then for a description of more than 256,
    /// and `std::invalid_argument` for an empty name, before anything is sent.
    [[nodiscard]] Role create_role(const std::string& name, const std::string& description) const;

    [[nodiscard]] Role get_role(int id) const;

    /// The roles that match the service's filter expression, for example "name eq 'auditor'"; all for an
    /// empty one.
    [[nodiscard]] std::list<Role> get_roles(const std::string& filter) const;

    /// Sets name and description of the role at `role.href`. Throws as `create_role` does, but its limit for
    /// a name is 256 bytes.
    void update_role(const Role& role) const;

    void delete_role_by_id(int id) const;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
