#ifndef KEEPSAFE_RBAC_CLIENT_DISKACCESSCHECKER_H
#define KEEPSAFE_RBAC_CLIENT_DISKACCESSCHECKER_H

#include <set>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/RoleIds.h>
#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessChecker.h>

namespace Tessara::Keepsafe::Rbac {

/// Decides from the access cache whether any of a set of roles may perform one operation on an object.
///
/// Checks the object's own bits, then the bits that each ancestor grants on its children, from the object
/// upwards. The first role that has the bit allows; an object that does not inherit ends the walk with a
/// denial, and so does reaching the top.
///
/// Each check holds the cache's shared file lock for its duration. Exceptions of `AccessCache::lock` and
/// `AccessCache::Reader` pass through: an interrupted write or a damaged cache is `EC_exception` 12, never an
/// answer.
class KEEPSAFE_API DiskAccessChecker : public AccessChecker {
public:
    /// `accessCache` must not be null; it is kept alive as long as the checker. `reserved` is kept and never
    /// consulted.
    DiskAccessChecker(boost::shared_ptr<const AccessCache> accessCache, const std::set<int>& roleIds,
                      const Operation& operation, int reserved);

    [[nodiscard]] bool checkAccess(const ObjectNamespace& object) const override;

    /// The same decision through a reader of the checker's cache that the caller already holds: for many
    /// objects under one lock. Keep it short; the writer waits meanwhile.
    [[nodiscard]] bool checkAccess(const AccessCache::Reader& reader, const ObjectNamespace& object) const;

    /// What the checker was made from; valid as long as the checker.
    [[nodiscard]] const AccessCache& accessCache() const noexcept { return *accessCache_; }
    [[nodiscard]] const detail::RoleIds& roleIds() const noexcept { return roleIds_; }
    [[nodiscard]] const Operation& operation() const noexcept { return operation_; }

private:
    void fetchRoles() const noexcept;

    boost::shared_ptr<const AccessCache> accessCache_;
    [[maybe_unused]] int reserved_;
    Operation operation_;
    detail::RoleIds roleIds_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
