#ifndef KEEPSAFE_RBAC_API_MANAGEDOBJECTS_H
#define KEEPSAFE_RBAC_API_MANAGEDOBJECTS_H

#include <iosfwd>
#include <list>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/api/BaseAPI.h>
#include <keepsafe/rbac/api/ManagedObjectState.h>
#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

struct json_t;

namespace Tessara::Keepsafe::Rbac {

/// How far a grant reaches: the object, everything below it, or both.
class KEEPSAFE_API Propagation {
public:
    enum enum_type : int { OBJECT = 0, CHILDREN = 1, OBJECT_AND_CHILDREN = 2 };

    Propagation(enum_type value = OBJECT) noexcept : value_(value) {}

    [[nodiscard]] enum_type value() const noexcept { return value_; }

    friend bool operator==(Propagation left, Propagation right) noexcept
    {
        return left.value_ == right.value_;
    }
    friend bool operator!=(Propagation left, Propagation right) noexcept
    {
        return left.value_ != right.value_;
    }

private:
    enum_type value_;
};

/// The name of the enumerator. Throws `std::invalid_argument` for any other value.
KEEPSAFE_API std::ostream& operator<<(std::ostream& stream, Propagation::enum_type value);
KEEPSAFE_API std::ostream& operator<<(std::ostream& stream, const Propagation& value);

/// Reads one word; any but the three names, in their case, fails the stream and leaves `value`. For a text
/// that must be a name and nothing else use `boost::lexical_cast`, or `try_lexical_convert` if it may be
/// wrong.
KEEPSAFE_API std::istream& operator>>(std::istream& stream, Propagation::enum_type& value);
KEEPSAFE_API std::istream& operator>>(std::istream& stream, Propagation& value);

/// A managed object as the service returns it.
struct KEEPSAFE_API ManagedObjectResource {
    /// From a resource object, which stays the caller's. Throws `EC_exception` 7610 when it does not have the
    /// form of a managed object, 9103 when its type or state is another, `boost::bad_lexical_cast` when its
    /// id is not a namespace.
    explicit ManagedObjectResource(const json_t* resource);

    std::string href; ///< empty: links are not read
    ObjectNamespace object;
    bool inherit = false; ///< grants on the objects above reach this one
    ManagedObjectState state = READY;
};

/// A grant: some operations for one role on one object.
struct KEEPSAFE_API AccessDefinition {
    /// From a resource object, which stays the caller's. Throws `EC_exception` 7610 when it does not have the
    /// form of an access definition, 9103 when it or what it refers to is of another type,
    /// `boost::bad_lexical_cast` when a namespace, a role id or the propagation cannot be converted.
    explicit AccessDefinition(const json_t* resource);

    std::string href; ///< the access definition's own link; empty when the service sent none
    std::string id;
    Propagation propagation;
    int roleId = 0;
    std::list<ObjectNamespace> operations;
    ObjectNamespace managedObject;
};

/// Reads and changes managed objects and the access definitions on them. Any thread; see `BaseAPI` for
/// failures.
class KEEPSAFE_API ManagedObjectAPI : public BaseAPI {
public:
    using BaseAPI::BaseAPI;

    [[nodiscard]] ManagedObjectResource get_object(const ObjectNamespace& object) const;

    void set_inherit(const ObjectNamespace& object, bool inherit) const;

    /// Grants `operations` to `role`, of which only the id counts. `operations`: an array of objects, each
    /// with "id", an operation's text form, and "type", "accessControlOperation"; it stays the caller's.
    /// Throws `std::invalid_argument` when `propagation` is none of its three values.
    [[nodiscard]] AccessDefinition add_access_definition(const ObjectNamespace& object, const Role& role,
                                                         Propagation propagation,
                                                         boost::shared_ptr<json_t> operations) const;

    [[nodiscard]] std::list<AccessDefinition> get_access_definitions(const ObjectNamespace& object) const;

    /// `id` is placed in the path unchanged.
    void delete_access_definition_by_id(const ObjectNamespace& object, const std::string& id) const;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
