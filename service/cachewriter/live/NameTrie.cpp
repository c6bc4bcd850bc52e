#include "cachewriter/live/NameTrie.h"

#include <iterator>
#include <vector>

#include <keepsafe/cache/detail/segment_iterator.h>

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::detail::segment_iterator;
using Tessara::Keepsafe::Rbac::detail::SegmentNode;

namespace {

/// Calls `work` for each segment while it returns true.
template <typename Work>
void forEachSegment(const std::string& text, const Work& work)
{
    const segment_iterator end(text, text.size());
    for (segment_iterator segment(text, 0); segment != end; ++segment) {
        if (!work(*segment)) {
            return;
        }
    }
}

} // namespace

NameTrie::NodeOffset NameTrie::find(const std::string& text) const noexcept
{
    NodeOffset node = 0;
    forEachSegment(text, [&](std::int32_t key) {
        node = levels_.find(level(node), key);
        return node != 0;
    });
    return node == 0 ? 0 : nodes_[node].object;
}

void NameTrie::reserveFor(const std::string& text)
{
    NodeOffset node = 0;
    std::size_t missing = 0;
    forEachSegment(text, [&](std::int32_t key) {
        node = missing == 0 ? levels_.find(level(node), key) : 0;
        missing += node == 0 ? 1 : 0;
        return true;
    });
    levels_.reserve(missing);
}

void NameTrie::insert(const std::string& text, NodeOffset object) noexcept
{
    NodeOffset node = 0;
    forEachSegment(text, [&](std::int32_t key) {
        const LevelTree::Changed changed = levels_.insert(level(node), key);
        setLevel(node, changed.root);
        node = changed.node;
        return true;
    });
    nodes_.set(node, &SegmentNode::object, object);
}

NameTrie::NodeOffset NameTrie::remove(const std::string& text)
{
    std::vector<NodeOffset> way = {0};
    forEachSegment(text, [&](std::int32_t key) {
        way.push_back(levels_.find(level(way.back()), key));
        return way.back() != 0;
    });
    const NodeOffset object = way.back() == 0 ? 0 : nodes_[way.back()].object;
    if (object == 0) {
        return 0;
    }
    nodes_.set(way.back(), &SegmentNode::object, NodeOffset{0});
    while (way.back() != 0 && nodes_[way.back()].object == 0 && nodes_[way.back()].nextLevel == 0) {
        const std::int32_t key = nodes_[way.back()].key;
        way.pop_back();
        setLevel(way.back(), levels_.remove(level(way.back()), key));
    }
    return object;
}

void NameTrie::setLevel(NodeOffset node, NodeOffset levelRoot) noexcept
{
    if (node == 0) {
        root_ = levelRoot;
    } else {
        nodes_.set(node, &SegmentNode::nextLevel, levelRoot);
    }
}

} // namespace keepsafe_service
