#ifndef KEEPSAFE_RBAC_QUESTIONS_EXPLAIN_H
#define KEEPSAFE_RBAC_QUESTIONS_EXPLAIN_H

#include <set>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/RoleIds.h>
#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/questions/GrantScope.h>

namespace Tessara::Keepsafe::Rbac {

/// Why an operation is allowed on an object, or denied. The first that applies, in this order.
enum class Reason {
    EnforcementOff,    ///< allowed: the client is the stub client
    UnknownOperation,  ///< denied: the operation cache does not know the operation
    Role0,             ///< allowed: the caller holds role 0
    NoRoles,           ///< denied: the caller holds no role
    Granted,           ///< allowed: granted to one of the roles on the object
    GrantedByAncestor, ///< allowed: an object above grants it to one of the roles on its children
    InheritanceOff,    ///< denied: nothing up to an object that does not inherit grants it
    NotGranted,        ///< denied: nothing up to the root grants it
};

/// The reason's name in reports: "granted", "granted-by-ancestor", "role-0", "unknown-operation", "no-roles",
/// "inheritance-off", "not-granted" or "enforcement-off".
KEEPSAFE_API const char* reasonName(Reason reason) noexcept;

/// A decision and why it is so.
struct Verdict {
    bool isAllowed;
    Reason reason;
};

/// One object on the way from the object that was asked about to the root.
struct PathStep {
    ObjectNamespace object;
    bool isCached; ///< the cache holds it; one that it does not hold grants nothing and hinders nothing
    bool inherits; ///< the grants of the objects above count, too
    /// Which of its grants count for the decision: those on itself, or those on its children.
    GrantScope countingScope;
    std::vector<int> rolesOnObject;   ///< the caller's roles that hold the operation on this object
    std::vector<int> rolesOnChildren; ///< the same on everything below it
};

/// A decision with what led to it.
struct Explanation {
    Verdict verdict;
    /// The object, then the objects above it, up to the one that decided: that grants, that does not inherit,
    /// or the root. Empty when the cache is not asked: enforcement is off, the operation is unknown, or the
    /// caller holds role 0.
    std::vector<PathStep> path;
    /// For a denial, the grants of which each alone would turn it: of the operation to one of the caller's
    /// roles, or, without any, to a role given to the caller. The nearest first. An object that is not cached
    /// has to be registered first. Empty when no grant helps, because the operation is unknown.
    std::vector<GrantPlace> wouldAllow;
};

/// Says why one caller may perform one operation on objects, or may not. The decisions are those of a checker
/// made for the same caller and operation at the same time.
///
/// Shares the client's cache, and may outlive the client. Immutable; any number of threads, each with its own
/// `ObjectNamespace`. Each question takes the cache's shared file lock for its duration.
///
/// Questions throw what `AccessChecker::checkAccess` throws: `EC_exception` 12 when the cache is damaged or
/// its last write was interrupted. There is no answer then; treat it as a denial.
class KEEPSAFE_API Explainer {
public:
    /// For a caller who holds the given roles; `findRoles` finds those of a session token. Looks the
    /// operation up once. Throws what the operation cache throws, and `EC_exception` 20 for a client that is
    /// neither the disk client nor the stub client.
    Explainer(AccessControlClient& client, const std::set<int>& roleIds, const ObjectNamespace& operation);

    /// The decision and its reason alone: costs about as much as a check. Allocates nothing for names of up
    /// to 24 objects.
    [[nodiscard]] Verdict verdict(const ObjectNamespace& object) const;

    /// All of it. Looks for each of the roles at each object on the way.
    [[nodiscard]] Explanation explain(const ObjectNamespace& object) const;

private:
    boost::shared_ptr<const AccessCache> accessCache_; ///< null: the verdict is the same for all objects
    Verdict constant_;
    Operation operation_;
    detail::RoleIds roleIds_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
