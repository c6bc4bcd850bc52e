#include "cachewriter/SharedTrees.h"

#include <algorithm>

#include <boost/functional/hash.hpp>

#include "cachewriter/balanced_tree.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::detail::BitsNode;

namespace {

/// Calls `visit` for each entry in order. Trees are as low as they can be, so the recursion is flat.
template <typename Visit>
void visitInOrder(const SharedTrees::Nodes& nodes, SharedTrees::NodeOffset root, const Visit& visit)
{
    if (root != 0) {
        visitInOrder(nodes, nodes[root].left, visit);
        visit(SharedTrees::Entry(nodes[root].key, nodes[root].value));
        visitInOrder(nodes, nodes[root].right, visit);
    }
}

void addTo(std::size_t& hash, const SharedTrees::Entry& entry)
{
    boost::hash_combine(hash, std::uint64_t{static_cast<std::uint32_t>(entry.first)} << 32U | entry.second);
}

} // namespace

SharedTrees::Held SharedTrees::hold(const Entries& entries)
{
    if (entries.empty()) {
        return {0, false};
    }
    std::size_t hash = 0;
    for (const Entry& entry : entries) {
        addTo(hash, entry);
    }
    if (const auto tree = known(entries, hash); tree != trees_.end()) {
        ++tree->second.users;
        return {tree->second.root, false};
    }
    const std::vector<TreeSlot> slots = balancedTree(entries.size());
    std::vector<NodeOffset> places(slots.size());
    nodes_.reserve(slots.size());
    const auto tree = trees_.emplace(hash, Tree{0, 1});
    // Nothing fails from here on.
    std::generate(places.begin(), places.end(), [this] { return nodes_.take(); });
    for (std::size_t slot = 0; slot < slots.size(); ++slot) {
        BitsNode node = {};
        node.left = slots[slot].left == 0 ? 0 : places[slots[slot].left];
        node.right = slots[slot].right == 0 ? 0 : places[slots[slot].right];
        node.key = entries[slots[slot].key].first;
        node.value = entries[slots[slot].key].second;
        nodes_.set(places[slot], node);
    }
    tree->second.root = places.front();
    return {places.front(), true};
}

SharedTrees::Trees::iterator SharedTrees::known(const Entries& entries, std::size_t hash) noexcept
{
    const auto [first, last] = trees_.equal_range(hash);
    const auto tree = std::find_if(first, last, [&](const Trees::value_type& candidate) {
        return hasEntries(candidate.second.root, entries);
    });
    return tree == last ? trees_.end() : tree;
}

SharedTrees::Trees::iterator SharedTrees::known(NodeOffset root) noexcept
{
    std::size_t hash = 0;
    visitInOrder(nodes_, root, [&hash](const Entry& entry) { addTo(hash, entry); });
    const auto [first, last] = trees_.equal_range(hash);
    return std::find_if(first, last,
                        [root](const Trees::value_type& candidate) { return candidate.second.root == root; });
}

bool SharedTrees::hasEntries(NodeOffset root, const Entries& entries) const noexcept
{
    std::size_t rank = 0;
    bool isEqual = true;
    visitInOrder(nodes_, root, [&](const Entry& entry) {
        isEqual = isEqual && rank < entries.size() && entries[rank] == entry;
        ++rank;
    });
    return isEqual && rank == entries.size();
}

} // namespace keepsafe_service
