#include "cachewriter/live/LevelTree.h"

#include <algorithm>

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::NodeOffset;

LevelTree::NodeOffset LevelTree::find(NodeOffset root, std::int32_t key) const noexcept
{
    while (root != 0 && nodes_[root].key != key) {
        root = key < nodes_[root].key ? nodes_[root].left : nodes_[root].right;
    }
    return root;
}

void LevelTree::reserve(std::size_t count)
{
    nodes_.reserve(count);
    heights_.resize(std::max(heights_.size(), nodes_.size() + count));
}

LevelTree::Changed LevelTree::insert(NodeOffset root, std::int32_t key) noexcept
{
    if (root == 0) {
        const NodeOffset node = nodes_.take();
        nodes_.set(node, &SegmentNode::key, key);
        updateHeight(node);
        return {node, node};
    }
    if (key == nodes_[root].key) {
        return {root, root};
    }
    const bool isLess = key < nodes_[root].key;
    const Changed below = insert(isLess ? nodes_[root].left : nodes_[root].right, key);
    if (isLess) {
        setLeft(root, below.root);
    } else {
        setRight(root, below.root);
    }
    return {balanced(root), below.node};
}

LevelTree::NodeOffset LevelTree::remove(NodeOffset root, std::int32_t key) noexcept
{
    const NodeOffset left = nodes_[root].left;
    const NodeOffset right = nodes_[root].right;
    if (key == nodes_[root].key) {
        nodes_.release(root);
        return joined(left, right);
    }
    if (key < nodes_[root].key) {
        setLeft(root, remove(left, key));
    } else {
        setRight(root, remove(right, key));
    }
    return balanced(root);
}

LevelTree::NodeOffset LevelTree::joined(NodeOffset left, NodeOffset right) noexcept
{
    if (left == 0 || right == 0) {
        return left == 0 ? right : left;
    }
    const Changed rest = withoutLeast(right);
    setLeft(rest.node, left);
    setRight(rest.node, rest.root);
    return balanced(rest.node);
}

LevelTree::Changed LevelTree::withoutLeast(NodeOffset root) noexcept
{
    if (nodes_[root].left == 0) {
        return {nodes_[root].right, root};
    }
    const Changed below = withoutLeast(nodes_[root].left);
    setLeft(root, below.root);
    return {balanced(root), below.node};
}

int LevelTree::height(NodeOffset node) const noexcept
{
    return node == 0 ? 0 : heights_[node / sizeof(SegmentNode)];
}

int LevelTree::lean(NodeOffset node) const noexcept
{
    return height(nodes_[node].left) - height(nodes_[node].right);
}

void LevelTree::updateHeight(NodeOffset node) noexcept
{
    const int below = std::max(height(nodes_[node].left), height(nodes_[node].right));
    heights_[node / sizeof(SegmentNode)] = static_cast<std::uint8_t>(below + 1);
}

LevelTree::NodeOffset LevelTree::rotate(NodeOffset node, Side rising, Side other) noexcept
{
    const NodeOffset top = nodes_[node].*rising;
    nodes_.set(node, rising, nodes_[top].*other);
    nodes_.set(top, other, node);
    updateHeight(node);
    updateHeight(top);
    return top;
}

LevelTree::NodeOffset LevelTree::balanced(NodeOffset node) noexcept
{
    if (lean(node) > 1) {
        if (lean(nodes_[node].left) < 0) {
            setLeft(node, rotateLeft(nodes_[node].left));
        }
        return rotateRight(node);
    }
    if (lean(node) < -1) {
        if (lean(nodes_[node].right) > 0) {
            setRight(node, rotateRight(nodes_[node].right));
        }
        return rotateLeft(node);
    }
    updateHeight(node);
    return node;
}

} // namespace keepsafe_service
