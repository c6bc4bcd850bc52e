#ifndef KSRBAC_REPORT_CHANGELIST_H
#define KSRBAC_REPORT_CHANGELIST_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/rbac/questions/policy_changes.h>

#include "report/NameTree.h"

namespace ksrbac {

/// All differences between two policies, in memory.
class ChangeList {
public:
    using Kind = Tessara::Keepsafe::Rbac::PolicyChange::Kind;
    using Scope = Tessara::Keepsafe::Rbac::PolicyChange::Scope;

    struct Change {
        std::size_t object; ///< its place in `objects`
        Kind kind;
        Scope scope;
        bool inherits;
        std::int32_t roleId;
        std::int32_t bit;
    };

    ChangeList() = default; ///< no difference
    /// Throws what the sources throw.
    ChangeList(Tessara::Keepsafe::Rbac::PolicySource& before, Tessara::Keepsafe::Rbac::PolicySource& after);

    /// The text forms of objects with changes, in the order of their bytes.
    [[nodiscard]] const std::vector<std::string>& objects() const noexcept { return objects_; }
    [[nodiscard]] const std::vector<Change>& changes() const noexcept { return changes_; }

private:
    void add(const Tessara::Keepsafe::Rbac::PolicyChange& change);

    std::vector<std::string> objects_;
    std::vector<Change> changes_;
};

/// Names together with those of changes that are not among them, and have no value.
struct NamesWithChanges {
    NameTree names;
    std::vector<std::uint32_t> nodes; ///< of `ChangeList::objects`, in their order

    NamesWithChanges(const NameTree& original, const ChangeList& changes);
};

} // namespace ksrbac

#endif
