#ifndef KEEPSAFE_CACHE_WALK_ROLE_TREE_H
#define KEEPSAFE_CACHE_WALK_ROLE_TREE_H

#include <array>
#include <cstddef>
#include <cstdint>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>
#include <keepsafe/cache/detail/RoleIds.h>
#include <keepsafe/cache/detail/records.h>

#include "role_block.h"
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
                                              std::int32_t key, RoleAnswer& answer)
{
    answer = RoleAnswer::denied();
    return findInTree(nodes, root, key, [&](const Damage& where) -> const BitsNode* {
        answer = RoleAnswer::damaged(where);
        return nullptr;
    });
}

/// Whether the words at `wordTree` hold the operation's bit.
[[nodiscard]] inline RoleAnswer wordsHold(const RecordView<BitsNode>& nodes, NodeOffset wordTree,
                                          const Operation& operation)
{
    RoleAnswer answer = RoleAnswer::denied();
    const BitsNode* word = findBits(nodes, wordTree, operation.wordIndex(), answer);
    return word != nullptr && (word->value & operation.bitMask()) != 0 ? RoleAnswer::granted() : answer;
}

/// Whether one role holds the operation in the role tree at `root`.
[[nodiscard]] inline RoleAnswer roleHolds(const RecordView<BitsNode>& nodes, NodeOffset root,
                                          std::int32_t roleId, const Operation& operation)
{
    RoleAnswer answer = RoleAnswer::denied();
    const BitsNode* role = findBits(nodes, root, roleId, answer);
    return role != nullptr ? wordsHold(nodes, role->value, operation) : answer;
}

/// One descent of a role tree for all the roles of a block: at each node they part, the smaller ids to the
/// left, the larger ones to the right. So a node is read once, however many roles come by, and the loads of
/// nodes that do not depend on each other overlap. Which way the roles go is nothing that a processor could
/// foretell, so there is no branch on it.
template <std::size_t Quads>
class RoleDescent {
public:
    RoleDescent(const RecordView<BitsNode>& nodes, const std::int32_t* ids) noexcept
        : nodes_(nodes), roles_(ids)
    {
    }

    /// Collects the word trees of those of the `asked` roles that are in the tree at `root`, which is not 0.
    /// False when it came upon something that no undamaged tree has: an offset outside the file, or more
    /// nodes than there are records. What was collected means nothing then.
    [[nodiscard]] bool collect(NodeOffset root, RoleMask asked) noexcept
    {
        // INVARIANT: the roles of those that wait are different ones, at least one each.
        std::array<Waiting, 2 * ROLES> waiting;
        waiting[0] = {root, asked};
        std::size_t first = 0;
        std::size_t last = 1;
        const std::size_t limit = nodes_.count();
        do {
            const Waiting next = waiting[first++ % waiting.size()];
            const BitsNode* node = nodes_.find(next.offset);
            if (__builtin_expect(node == nullptr || first > limit, 0)) {
                return false;
            }
            const RoleMask left = next.roles & roles_.below(node->key);
            const RoleMask here = next.roles & roles_.equalTo(node->key);
            const RoleMask right = next.roles ^ left ^ here;
            wordTrees_[found_] = node->value;
            found_ += static_cast<std::size_t>(here != 0);
            waiting[last % waiting.size()] = {node->left, left};
            last += static_cast<std::size_t>((left != 0) & (node->left != 0));
            waiting[last % waiting.size()] = {node->right, right};
            last += static_cast<std::size_t>((right != 0) & (node->right != 0));
        } while (first != last);
        return true;
    }

    [[nodiscard]] const NodeOffset* begin() const noexcept { return wordTrees_.data(); }
    [[nodiscard]] const NodeOffset* end() const noexcept { return wordTrees_.data() + found_; }

private:
    static constexpr std::size_t ROLES = 4 * Quads;

    struct Waiting {
        NodeOffset offset;
        RoleMask roles;
    };

    const RecordView<BitsNode>& nodes_;
    RoleBlock<Quads> roles_;
    std::array<NodeOffset, ROLES + 1> wordTrees_; ///< one more than can be found: written before it counts
    std::size_t found_ = 0;
};

/// The same for roles one after the other in ascending order. What a damaged tree comes to is defined by
/// this: the first role that is granted or comes upon the damage decides.
[[nodiscard]] __attribute__((noinline, cold)) inline RoleAnswer
anyRoleHoldsOneByOne(const RecordView<BitsNode>& nodes, NodeOffset root, const std::int32_t* ids,
                     std::size_t count, const Operation& operation)
{
    RoleAnswer answer = RoleAnswer::denied();
    for (std::size_t i = 0; i < count && answer.kind == RoleAnswer::DENIED; ++i) {
        answer = roleHolds(nodes, root, ids[i], operation);
    }
    return answer;
}

/// Whether any of the `count` roles of a block holds the operation in the role tree at `root`, which is not
/// 0.
template <std::size_t Quads>
[[nodiscard]] inline RoleAnswer anyOfBlockHolds(const RecordView<BitsNode>& nodes, NodeOffset root,
                                                const std::int32_t* ids, std::size_t count,
                                                const Operation& operation)
{
    RoleDescent<Quads> descent(nodes, ids);
    bool damaged = !descent.collect(root, (RoleMask{1} << count) - 1);
    bool granted = false;
    if (!damaged) {
        for (const NodeOffset wordTree : descent) {
            const RoleAnswer answer = wordsHold(nodes, wordTree, operation);
            granted = granted || answer.kind == RoleAnswer::GRANTED;
            damaged = damaged || answer.kind == RoleAnswer::DAMAGED;
        }
    }
    if (__builtin_expect(damaged, 0)) {
        return anyRoleHoldsOneByOne(nodes, root, ids, count, operation);
    }
    return granted ? RoleAnswer::granted() : RoleAnswer::denied();
}

/// The keys of a small search tree, all of them.
class SmallTree {
public:
    /// False when the tree at `root`, which is not 0, is not small, or not whole.
    [[nodiscard]] bool read(const RecordView<BitsNode>& nodes, NodeOffset root) noexcept
    {
        // Level by level: nothing but the children's offsets stands between one node and the next, so the
        // loads of a level overlap. A zero is written too, and then written over.
        std::array<NodeOffset, MOST + 2> waiting;
        waiting[0] = root;
        std::size_t last = 1;
        do {
            const BitsNode* node = nodes.find(waiting[count_]);
            if (__builtin_expect(node == nullptr, 0)) {
                return false;
            }
            keys_[count_++] = node->key;
            waiting[last] = node->left;
            last += static_cast<std::size_t>(node->left != 0);
            waiting[last] = node->right;
            last += static_cast<std::size_t>(node->right != 0);
            if (last > MOST) {
                return false;
            }
        } while (count_ != last);
        return true;
    }

    [[nodiscard]] const std::int32_t* begin() const noexcept { return keys_.data(); }
    [[nodiscard]] const std::int32_t* end() const noexcept { return keys_.data() + count_; }

private:
    static constexpr std::size_t MOST = 32;

    std::array<std::int32_t, MOST> keys_;
    std::size_t count_ = 0;
};

template <std::size_t Quads>
[[nodiscard]] inline RoleAnswer anyOfBlockHoldsSmall(const RecordView<BitsNode>& nodes, NodeOffset root,
                                                     const SmallTree& tree, const std::int32_t* ids,
                                                     std::size_t count, const Operation& operation)
{
    RoleMask met = RoleBlock<Quads>(ids).among(tree.begin(), tree.end()) & ((RoleMask{1} << count) - 1);
    RoleAnswer answer = RoleAnswer::denied();
    for (; met != 0 && answer.kind == RoleAnswer::DENIED; met &= met - 1) {
        answer = roleHolds(nodes, root, ids[__builtin_ctz(met)], operation);
    }
    return answer;
}

/// Whether any of the roles holds the operation in the role tree at `root`; 0 is the empty tree.
[[nodiscard]] inline RoleAnswer anyRoleHolds(const RecordView<BitsNode>& nodes, NodeOffset root,
                                             const RoleIds& roles, const Operation& operation)
{
    RoleAnswer answer = RoleAnswer::denied();
    if (root == 0) {
        return answer;
    }
    SmallTree tree;
    const bool small = tree.read(nodes, root);
    for (std::size_t i = 0; i < roles.blocks() && answer.kind == RoleAnswer::DENIED; ++i) {
        const std::int32_t* ids = roles.block(i);
        const std::size_t count = roles.sizeOf(i);
        if (__builtin_expect(small, 1)) {
            answer = count <= RoleIds::BLOCK / 2
                         ? anyOfBlockHoldsSmall<2>(nodes, root, tree, ids, count, operation)
                         : anyOfBlockHoldsSmall<4>(nodes, root, tree, ids, count, operation);
        } else {
            answer = anyOfBlockHolds<4>(nodes, root, ids, count, operation);
        }
    }
    return answer;
}

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
