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
/// The object's own entry is asked for the object's bits, every ancestor's entry for the bits it grants on
/// its children, from the object upwards. The first role that holds the bit decides for "allowed"; an entry
/// that does not inherit ends the walk with "denied", and so does the end of it.
///
/// Each check takes the cache's shared file lock for its span. Exceptions of `AccessCache::lock` and
/// `AccessCache::Reader` pass through: an interrupted write or a damaged cache is `EC_exception` 12, never an
/// answer.
class KEEPSAFE_API DiskAccessChecker : public AccessChecker {
public:
    /// `accessCache` must not be null; it is kept alive as long as the checker. `reserved` is kept and never
    /// consulted.
    DiskAccessChecker(boost::shared_ptr<const AccessCache> accessCache, const std::set<int>& roleIds,
                      const Operation& operation, int reserved);

    [[nodiscard]] bool checkAccess(const ObjectNamespace& object) const override;

    /// The same decision through a reader of the checker's cache that the caller holds already. For many
    /// objects in a row under one lock; keep such a row short, the writer waits meanwhile.
    [[nodiscard]] bool checkAccess(const AccessCache::Reader& reader, const ObjectNamespace& object) const;

private:
    void fetchRoles() const noexcept;

    boost::shared_ptr<const AccessCache> accessCache_;
    [[maybe_unused]] int reserved_;
    Operation operation_;
    detail::RoleIds roleIds_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
