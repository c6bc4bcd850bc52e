#ifndef KEEPSAFE_CACHE_WALK_ROLE_TREE_H
#define KEEPSAFE_CACHE_WALK_ROLE_TREE_H

#include <cstdint>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>
#include <keepsafe/cache/detail/RoleIds.h>
#include <keepsafe/cache/detail/records.h>

#include "search_tree.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// What a role tree says about an operation.
struct RoleAnswer {
    enum Kind : std::uint32_t { DENIED, GRANTED, DAMAGED };

    [[nodiscard]] static RoleAnswer denied() noexcept { return {DENIED, 0, nullptr}; }
    [[nodiscard]] static RoleAnswer granted() noexcept { return {GRANTED, 0, nullptr}; }
    [[nodiscard]] static RoleAnswer damaged(const Damage& where) noexcept
    {
        return {DAMAGED, where.offset, where.what};
    }

    Kind kind;
    NodeOffset offset; ///< of the damage
    const char* what;  ///< the damage
};

/// The node with that key. Null when there is none; then `answer` is "denied", or the damage met on the way.
[[nodiscard]] inline const BitsNode* findBits(const RecordView<BitsNode>& nodes, NodeOffset root,
                                              std::int32_t key, StepBudget& budget, RoleAnswer& answer)
{
    answer = RoleAnswer::denied();
    return findInTree(nodes, root, key, budget, [&](const Damage& where) -> const BitsNode* {
        answer = RoleAnswer::damaged(where);
        return nullptr;
    });
}

/// Whether the words at `wordTree` hold the operation's bit.
[[nodiscard]] inline RoleAnswer wordsHold(const RecordView<BitsNode>& nodes, NodeOffset wordTree,
                                          const Operation& operation, StepBudget& budget)
{
    RoleAnswer answer = RoleAnswer::denied();
    const BitsNode* word = findBits(nodes, wordTree, operation.wordIndex(), budget, answer);
    return word != nullptr && (word->value & operation.bitMask()) != 0 ? RoleAnswer::granted() : answer;
}

/// Whether one role holds the operation in the role tree at `root`.
[[nodiscard]] inline RoleAnswer roleHolds(const RecordView<BitsNode>& nodes, NodeOffset root,
                                          std::int32_t roleId, const Operation& operation, StepBudget& budget)
{
    RoleAnswer answer = RoleAnswer::denied();
    const BitsNode* role = findBits(nodes, root, roleId, budget, answer);
    return role != nullptr ? wordsHold(nodes, role->value, operation, budget) : answer;
}

/// Whether any of the roles holds the operation in the role tree at `root`. They are tried in ascending
/// order: the first that is granted, or meets damage, decides.
[[nodiscard]] inline RoleAnswer anyRoleHolds(const RecordView<BitsNode>& nodes, NodeOffset root,
                                             const RoleIds& roles, const Operation& operation,
                                             StepBudget& budget)
{
    RoleAnswer answer = RoleAnswer::denied();
    if (root == 0) {
        return answer;
    }
    StepBudget steps = budget; // in a register meanwhile
    for (const std::int32_t role : roles) {
        answer = roleHolds(nodes, root, role, operation, steps);
        if (answer.kind != RoleAnswer::DENIED) {
            break;
        }
    }
    budget = steps;
    return answer;
}

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
