#ifndef KEEPSAFE_CACHE_WALK_SEARCH_TREE_H
#define KEEPSAFE_CACHE_WALK_SEARCH_TREE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>
#include <keepsafe/cache/detail/records.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// An invalid place in a record file. Answers carry it until it is certain that it matters: a question that
/// is decided before the walk reaches the place has an answer.
struct Damage {
    static constexpr const char* OUTSIDE = "offset outside the file";
    static constexpr const char* ENDLESS = "tree without end";
    static constexpr const char* UNORDERED = "key out of order";

    NodeOffset offset = 0;
    const char* what = nullptr;
};

/// Writers put the nodes of a tree close together, especially those near its root. The memory just after a
/// node is fetched while the node is compared.
inline void fetchBehind(const SegmentNode* node) noexcept
{
    __builtin_prefetch(node + 2);
    __builtin_prefetch(node + 4);
}
/// Trees of roles and words are shared by many objects, so the nodes needed are mostly in the processor's
/// cache.
inline void fetchBehind(const BitsNode* /*node*/) noexcept {}

/// The nodes that a question may visit before the files count as damaged: what keeps a tree that leads round
/// in a circle, met again and again on the way down a long name, from holding the lock for seconds.
class StepBudget {
public:
    explicit StepBudget(std::size_t steps) noexcept : left_(steps) {}

    /// Takes one step. False: there is none left.
    [[nodiscard]] bool spend() noexcept { return left_ != 0 && left_-- != 0; }

    [[nodiscard]] std::size_t left() const noexcept { return left_; }

private:
    template <typename Record, typename Damaged>
    friend const Record* findInTree(const RecordView<Record>& records, NodeOffset root, std::int32_t key,
                                    StepBudget& budget, const Damaged& damaged);

    std::size_t left_;
};

/// Walks one search tree for `key`. Returns the record, or null when the tree has none. An offset outside the
/// file, and a walk that uses up the budget, which can only be a cycle, are passed to `damaged(Damage)`,
/// whose result is then the result.
template <typename Record, typename Damaged>
[[nodiscard]] inline const Record* findInTree(const RecordView<Record>& records, NodeOffset root,
                                              std::int32_t key, StepBudget& budget, const Damaged& damaged)
{
    // No tree has more nodes than the file has records.
    const std::size_t most = std::min(records.count(), budget.left_);
    std::size_t left = most;
    for (NodeOffset offset = root; offset != 0;) {
        const Record* node = records.find(offset);
        if (__builtin_expect(node == nullptr, 0)) {
            return damaged(Damage{offset, Damage::OUTSIDE});
        }
        fetchBehind(node);
        if (node->key == key) {
            budget.left_ -= most - left;
            return node;
        }
        if (__builtin_expect(left-- == 0, 0)) {
            return damaged(Damage{offset, Damage::ENDLESS});
        }
        offset = node->key > key ? node->left : node->right;
    }
    budget.left_ -= most - left;
    return nullptr;
}

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
