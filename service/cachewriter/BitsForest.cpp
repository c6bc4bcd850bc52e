#include "cachewriter/BitsForest.h"

#include "cachewriter/CacheImage.h"
#include "cachewriter/balanced_tree.h"

namespace keepsafe_sandbox {

using Tessara::Keepsafe::Rbac::NodeOffset;
using Tessara::Keepsafe::Rbac::detail::BitsNode;

BitsForest::BitsForest() : nodes_(1) {}

NodeOffset BitsForest::roleTree(const Grants& grants)
{
    Entries roles;
    roles.reserve(grants.roles().size());
    for (const auto& [roleId, words] : grants.roles()) {
        roles.emplace_back(roleId, tree(Entries(words.begin(), words.end())));
    }
    return tree(roles);
}

NodeOffset BitsForest::tree(const Entries& entries)
{
    if (entries.empty()) {
        return 0;
    }
    static_assert(sizeof(Entries::value_type) == 8, "no padding: the bytes stand for the content");
    const auto [known, isNew] =
        trees_.try_emplace(std::string(reinterpret_cast<const char*>(entries.data()), entries.size() * 8), 0);
    if (!isNew) {
        return known->second;
    }
    const std::size_t first = nodes_.size();
    const auto offsetOf = [first](std::size_t slot) { return recordOffset<BitsNode>(first + slot, "nodes"); };
    for (const TreeSlot& slot : balancedTree(entries.size())) {
        BitsNode node = {};
        node.left = slot.left == 0 ? 0 : offsetOf(slot.left);
        node.right = slot.right == 0 ? 0 : offsetOf(slot.right);
        node.key = entries[slot.key].first;
        node.value = entries[slot.key].second;
        nodes_.push_back(node);
    }
    known->second = offsetOf(0);
    return known->second;
}

} // namespace keepsafe_sandbox
