#ifndef KEEPSAFE_SERVICE_CACHEWRITER_LIVE_LEVELTREE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_LIVE_LEVELTREE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "cachewriter/RecordPool.h"

namespace keepsafe_service {

/// The search trees of the trie's levels, whose nodes come and go one by one. A tree is known by its root; 0
/// is the empty one.
///
/// INVARIANT: the heights of a node's two subtrees differ by at most one (AVL), so a tree of n nodes is at
/// most 1.44 log2(n + 2) high whatever the order of changes and the choice of keys. Heights are kept beside
/// the records: readers do not need them, and a change writes the few records whose links it changes.
class LevelTree {
public:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;
    using Nodes = RecordPool<Tessara::Keepsafe::Rbac::detail::SegmentNode>;

    /// `nodes` must outlive the object.
    explicit LevelTree(Nodes& nodes) noexcept : nodes_(nodes) {}

    /// A tree's new root and the node that it was changed for.
    struct Changed {
        NodeOffset root;
        NodeOffset node;
    };

    /// The node with the key; 0: none.
    [[nodiscard]] NodeOffset find(NodeOffset root, std::int32_t key) const noexcept;

    /// Makes room, so that as many calls of `insert` cannot fail. Throws as `RecordPool::reserve` does.
    void reserve(std::size_t count);
    /// Finds the node with the key or adds one.
    Changed insert(NodeOffset root, std::int32_t key) noexcept;
    /// Removes the node with the key, which must be there; returns the new root. All other nodes stay in
    /// their places.
    NodeOffset remove(NodeOffset root, std::int32_t key) noexcept;

private:
    using SegmentNode = Tessara::Keepsafe::Rbac::detail::SegmentNode;

    [[nodiscard]] int height(NodeOffset node) const noexcept;
    /// Positive when the left side is higher.
    [[nodiscard]] int lean(NodeOffset node) const noexcept;
    void updateHeight(NodeOffset node) noexcept;
    void setLeft(NodeOffset node, NodeOffset left) noexcept { nodes_.set(node, &SegmentNode::left, left); }
    void setRight(NodeOffset node, NodeOffset right) noexcept
    {
        nodes_.set(node, &SegmentNode::right, right);
    }
    using Side = NodeOffset SegmentNode::*;
    /// Makes the child on one side the root of the subtree, and the node its child on the other side.
    NodeOffset rotate(NodeOffset node, Side rising, Side other) noexcept;
    NodeOffset rotateLeft(NodeOffset node) noexcept
    {
        return rotate(node, &SegmentNode::right, &SegmentNode::left);
    }
    NodeOffset rotateRight(NodeOffset node) noexcept
    {
        return rotate(node, &SegmentNode::left, &SegmentNode::right);
    }
    NodeOffset balanced(NodeOffset node) noexcept;
    /// Takes the node with the least key out of the tree: the rest, and that node.
    Changed withoutLeast(NodeOffset root) noexcept;
    NodeOffset joined(NodeOffset left, NodeOffset right) noexcept;

    Nodes& nodes_;
    std::vector<std::uint8_t> heights_; ///< by record number
};

} // namespace keepsafe_service

#endif
