#ifndef KEEPSAFE_SERVICE_CACHEWRITER_BALANCED_TREE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_BALANCED_TREE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace keepsafe_service {

/// A node of a search tree over sorted keys, at its place in the file.
struct TreeSlot {
    std::uint32_t key;   ///< rank of the key, from 0
    std::uint32_t left;  ///< slot of the smaller keys; 0: none
    std::uint32_t right; ///< slot of the larger keys; 0: none
};

/// The search tree over `keyCount` sorted keys, its nodes in the order in which they are to be stored.
///
/// INVARIANT: slot 0 is the root; the sizes of a node's two subtrees differ by at most one, so that the
/// height is the least possible; the order is van Emde Boas': the upper half of the levels first, then each
/// of the subtrees below it, and both halves the same way. A walk from the root therefore stays within few
/// cache lines and pages whatever their size is.
std::vector<TreeSlot> balancedTree(std::size_t keyCount);

} // namespace keepsafe_service

#endif
