#ifndef KEEPSAFE_RBAC_CLIENT_ACCESSCHECKER_H
#define KEEPSAFE_RBAC_CLIENT_ACCESSCHECKER_H

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac {

/// Answers, object by object, whether one caller may perform one operation. Made by an `AccessControlClient`,
/// which it may outlive. It answers for the roles that it was made with, however long it lives: a checker
/// made from a session token goes on after the token has expired. Changes of the policy reach it at once.
///
/// Immutable: one checker serves any number of threads at once, each with its own
/// `ObjectNamespace` (or one whose text form is already computed).
class KEEPSAFE_API AccessChecker {
public:
    AccessChecker() = default;
    AccessChecker(const AccessChecker&) = delete;
    AccessChecker& operator=(const AccessChecker&) = delete;
    virtual ~AccessChecker();

    /// Whether the operation is allowed on `object`. An exception means that there is no answer; treat it as
    /// a denial: `EC_exception` with status 12 when the cache or its lock cannot be used,
    /// `std::runtime_error` when a cache file cannot be opened or mapped, `std::bad_alloc`.
    ///
    /// A checker over a cache waits while a writer changes it: milliseconds as a rule, and for as long as a
    /// writer holds the lock. Do not call it where a thread must not block.
    [[nodiscard]] virtual bool checkAccess(const ObjectNamespace& object) const = 0;
};

/// Gives the same answer for every object.
template <bool Answer>
class KEEPSAFE_API ConstantAccessChecker final : public AccessChecker {
public:
    [[nodiscard]] bool checkAccess(const ObjectNamespace& /*object*/) const override { return Answer; }
};

extern template class ConstantAccessChecker<true>;
extern template class ConstantAccessChecker<false>;

} // namespace Tessara::Keepsafe::Rbac

#endif
