#ifndef KEEPSAFE_RBAC_QUESTIONS_POLICY_CHANGES_H
#define KEEPSAFE_RBAC_QUESTIONS_POLICY_CHANGES_H

#include <cstdint>
#include <functional>
#include <string_view>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/questions/policy_contents.h>

namespace Tessara::Keepsafe::Rbac {

/// One difference between two policies.
struct PolicyChange {
    enum class Kind : std::uint8_t {
        ObjectAdded,   ///< only the later policy has the object
        ObjectRemoved, ///< only the earlier one has it
        InheritTurned, ///< both have it, and only one of them lets it inherit
        Granted,       ///< the object grants a role an operation that it did not grant
        Revoked,
        // Decisions, whatever grant they come from.
        NowAllowed, ///< the role may perform an operation that it might not perform
        NowDenied,
        AsBefore, ///< no change, where a change of `OnChildren` further up says otherwise
    };
    /// What of an object a change is about.
    enum class Scope : std::uint8_t {
        OnObject,            ///< the object itself
        OnChildren,          ///< everything below it
        OnObjectAndChildren, ///< both
    };

    Kind kind;
    std::string_view object; ///< its text form, valid during the call
    Scope scope;             ///< of grants and decisions
    bool inherits;           ///< of ObjectAdded and InheritTurned: in the later policy
    std::int32_t roleId;     ///< of grants and decisions
    Operation operation;     ///< of grants and decisions
};

/// Which differences are wanted.
struct WantedChanges {
    bool contents = true; ///< objects, inheritance and grants
    bool decisions = true;
};

/// Receives one difference; false ends the comparison.
using OnChange = std::function<bool(const PolicyChange& change)>;

/// What differs between two policies, object by object in the order of the bytes of their names.
///
/// Decisions are those of a check for a caller with one role other than 0, for every name, also those in
/// neither policy. They are folded: a change for a role and an operation `OnChildren` of an object holds for
/// every name below it, up to the next object on the way down with one for the same role and operation
/// `OnChildren`; a change `OnObject` holds for that object instead of those above it. So a grant that is
/// taken from the root is one change, whatever is below, and each object that grants the same itself has an
/// `AsBefore`.
///
/// The sources are read to their ends side by side; memory grows with the depth of names and with the grants
/// of the objects on one path alone. If a source is a cache that is read in pieces, and changes meanwhile,
/// the result is that of no single state: compare stamps (`cacheState`) before and after.
///
/// Returns false when `onChange` ended it. Exceptions of the sources and of `onChange` pass through; throws
/// `EC_exception` 20 when a source does not give its names in order.
KEEPSAFE_API bool comparePolicies(PolicySource& before, PolicySource& after, const WantedChanges& wanted,
                                  const OnChange& onChange);

} // namespace Tessara::Keepsafe::Rbac

#endif
