#ifndef KEEPSAFE_SERVICE_CACHEWRITER_SHAREDTREES_H
#define KEEPSAFE_SERVICE_CACHEWRITER_SHAREDTREES_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "cachewriter/RecordPool.h"

namespace keepsafe_service {

/// Search trees of one kind in the file "nodes", stored once for equal content and counted by their users.
/// A tree never changes; it is built at the least height and given back whole.
class SharedTrees {
public:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;
    using Nodes = RecordPool<Tessara::Keepsafe::Rbac::detail::BitsNode>;
    /// A key with its value.
    using Entry = std::pair<std::int32_t, std::uint32_t>;
    /// Sorted by their keys.
    using Entries = std::vector<Entry>;

    /// `nodes` must outlive the object.
    explicit SharedTrees(Nodes& nodes) noexcept : nodes_(nodes) {}

    struct Held {
        NodeOffset root; ///< 0 for no entries
        bool isNew;      ///< nobody else holds it
    };

    /// Takes a tree with these entries into use once more. Throws as `RecordPool::reserve` does, with
    /// everything as it was.
    Held hold(const Entries& entries);

    /// Ends one use of the tree; 0 is fine. `onGone` is called with each value of a tree that nobody uses any
    /// more.
    template <typename OnGone>
    void release(NodeOffset root, const OnGone& onGone) noexcept
    {
        if (root == 0) {
            return;
        }
        const auto tree = known(root);
        if (--tree->second.users == 0) {
            trees_.erase(tree);
            giveBack(root, onGone);
        }
    }

private:
    struct Tree {
        NodeOffset root;
        std::uint32_t users;
    };
    /// By the hash of the entries. The entries themselves are in the records.
    using Trees = std::unordered_multimap<std::size_t, Tree>;

    template <typename OnGone>
    void giveBack(NodeOffset root, const OnGone& onGone) noexcept
    {
        if (root == 0) {
            return;
        }
        const Tessara::Keepsafe::Rbac::detail::BitsNode node = nodes_[root];
        giveBack(node.left, onGone);
        giveBack(node.right, onGone);
        onGone(node.value);
        nodes_.release(root);
    }

    [[nodiscard]] Trees::iterator known(NodeOffset root) noexcept;
    [[nodiscard]] Trees::iterator known(const Entries& entries, std::size_t hash) noexcept;
    [[nodiscard]] bool hasEntries(NodeOffset root, const Entries& entries) const noexcept;

    Nodes& nodes_;
    Trees trees_;
};

} // namespace keepsafe_service

#endif
