#include "cachewriter/GrantTrees.h"

namespace keepsafe_service {

namespace {

/// What is in word trees refers to nothing.
constexpr auto NOTHING_BELOW = [](std::uint32_t /*bits*/) {};

} // namespace

GrantTrees::NodeOffset GrantTrees::hold(const Grants& grants)
{
    SharedTrees::Entries roles;
    try {
        const SharedTrees::Held tree = holdRoles(grants, roles);
        if (!tree.isNew) {
            releaseWords(roles);
        }
        return tree.root;
    } catch (...) {
        releaseWords(roles);
        throw;
    }
}

SharedTrees::Held GrantTrees::holdRoles(const Grants& grants, SharedTrees::Entries& roles)
{
    roles.reserve(grants.roles().size());
    for (const auto& [roleId, words] : grants.roles()) {
        const SharedTrees::Entries entries(words.begin(), words.end());
        roles.emplace_back(roleId, wordTrees_.hold(entries).root);
    }
    return roleTrees_.hold(roles);
}

void GrantTrees::release(NodeOffset roleTree) noexcept
{
    roleTrees_.release(roleTree,
                       [this](NodeOffset wordTree) { wordTrees_.release(wordTree, NOTHING_BELOW); });
}

void GrantTrees::releaseWords(const SharedTrees::Entries& roles) noexcept
{
    for (const SharedTrees::Entry& role : roles) {
        wordTrees_.release(role.second, NOTHING_BELOW);
    }
}

} // namespace keepsafe_service
