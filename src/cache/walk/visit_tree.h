#ifndef KEEPSAFE_CACHE_WALK_VISIT_TREE_H
#define KEEPSAFE_CACHE_WALK_VISIT_TREE_H

#include <cstdint>
#include <limits>

#include <boost/container/small_vector.hpp>

#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>
#include <keepsafe/cache/detail/records.h>

#include "search_tree.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// Calls `visit(const Record&)` for the nodes of a search tree in ascending order of their keys. Returns the
/// damage that ended it: an offset outside the file, a key out of order, which no search would find, or a
/// tree that uses up the budget. Without damage its `what` is null.
template <typename Record, typename Visitor>
[[nodiscard]] Damage visitTree(const RecordView<Record>& records, NodeOffset root, StepBudget& budget,
                               const Visitor& visit)
{
    boost::container::small_vector<const Record*, 64> above; // whose left subtrees are being visited
    std::int64_t last = std::numeric_limits<std::int64_t>::min();
    NodeOffset offset = root;
    while (offset != 0 || !above.empty()) {
        if (offset != 0) {
            const Record* node = records.find(offset);
            if (node == nullptr) {
                return {offset, Damage::OUTSIDE};
            }
            // A path is never longer than the file has records, whatever the budget allows.
            if (!budget.spend() || above.size() >= records.count()) {
                return {offset, Damage::ENDLESS};
            }
            above.push_back(node);
            offset = node->left;
            continue;
        }
        const Record* node = above.back();
        above.pop_back();
        if (node->key <= last) {
            return {root, Damage::UNORDERED};
        }
        last = node->key;
        visit(*node);
        offset = node->right;
    }
    return {};
}

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
