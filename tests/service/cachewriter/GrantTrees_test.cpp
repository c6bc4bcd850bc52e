#include "cachewriter/GrantTrees.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "errors/InputError.h"

namespace {

using keepsafe_service::Grants;
using keepsafe_service::GrantTrees;
using keepsafe_service::InputError;
using Tessara::Keepsafe::Rbac::NodeOffset;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::detail::BitsNode;
using testing::ElementsAre;

Grants grantsOf(const std::vector<std::pair<std::int32_t, std::int32_t>>& rolesAndBits)
{
    Grants grants;
    for (const auto& [role, bit] : rolesAndBits) {
        grants.add(role, Operation{bit});
    }
    return grants;
}

std::size_t recordsInUse(const GrantTrees& trees)
{
    return trees.nodes().size() - 1 - trees.nodes().freeCount();
}

void addEntries(const GrantTrees& trees, NodeOffset root,
                std::vector<std::pair<std::int32_t, NodeOffset>>& to)
{
    if (root != 0) {
        const BitsNode& node = trees.nodes()[root];
        addEntries(trees, node.left, to);
        to.emplace_back(node.key, node.value);
        addEntries(trees, node.right, to);
    }
}

std::vector<std::pair<std::int32_t, NodeOffset>> entries(const GrantTrees& trees, NodeOffset root)
{
    std::vector<std::pair<std::int32_t, NodeOffset>> found;
    addEntries(trees, root, found);
    return found;
}

TEST(GrantTrees, SayWhichBitsWhichRolesHold)
{
    GrantTrees trees;
    const auto roles = entries(trees, trees.hold(grantsOf({{7, 37}, {-1, 0}, {7, 33}, {7, -1}})));

    ASSERT_EQ(roles.size(), 2U);
    EXPECT_EQ(roles[0].first, -1);
    EXPECT_THAT(entries(trees, roles[0].second), ElementsAre(std::pair(0, 1U)));
    EXPECT_EQ(roles[1].first, 7);
    EXPECT_THAT(entries(trees, roles[1].second),
                ElementsAre(std::pair(1, (1U << 5U) | (1U << 1U)), std::pair(0x07FFFFFF, 1U << 31U)));
}

TEST(GrantTrees, OrderRolesAsSignedNumbers)
{
    GrantTrees trees;
    const auto roles =
        entries(trees, trees.hold(grantsOf({{5, 0}, {-7, 1}, {2147483647, 3}, {-2147483647 - 1, 3}})));
    std::vector<std::int32_t> keys;
    for (const auto& role : roles) {
        keys.push_back(role.first);
    }
    EXPECT_THAT(keys, ElementsAre(-2147483647 - 1, -7, 5, 2147483647));
}

TEST(GrantTrees, LieInOnePieceWithTheirRootsFirst)
{
    GrantTrees trees;
    Grants grants;
    for (std::int32_t role = 0; role < 100; ++role) {
        grants.add(role, Operation{1});
    }
    EXPECT_EQ(trees.hold(grants), 2 * sizeof(BitsNode)) << "right after the one word tree";
    EXPECT_EQ(trees.nodes().records().size(), 1U + 1U + 100U);
}

TEST(GrantTrees, NoGrantsNeedNoTree)
{
    GrantTrees trees;

    EXPECT_EQ(trees.hold({}), 0U);
    trees.release(0);
    EXPECT_EQ(trees.nodes().size(), 1U);
}

TEST(GrantTrees, EqualGrantsShareATreeUntilTheLastUseEnds)
{
    GrantTrees trees;
    const Grants grants = grantsOf({{1, 5}, {2, 5}, {3, 700}});
    const NodeOffset tree = trees.hold(grants);
    EXPECT_EQ(trees.hold(grants), tree);
    EXPECT_EQ(recordsInUse(trees), 3U + 2U) << "three roles, two word trees";

    trees.release(tree);
    EXPECT_EQ(entries(trees, tree).size(), 3U);
    trees.release(tree);
    EXPECT_EQ(recordsInUse(trees), 0U);
}

TEST(GrantTrees, AWordTreeStaysWhileAnyRoleTreeRefersToIt)
{
    GrantTrees trees;
    const NodeOffset first = trees.hold(grantsOf({{1, 5}, {2, 5}}));
    const NodeOffset second = trees.hold(grantsOf({{3, 5}}));
    const NodeOffset words = entries(trees, second)[0].second;
    ASSERT_EQ(entries(trees, first)[1].second, words);

    trees.release(first);
    EXPECT_THAT(entries(trees, words), ElementsAre(std::pair(0, 1U << 5U)));
    EXPECT_EQ(recordsInUse(trees), 2U);
    trees.release(second);
    EXPECT_EQ(recordsInUse(trees), 0U);
}

TEST(GrantTrees, ARoleTreeIsNeverAWordTreeThoughItsBytesAreTheSame)
{
    GrantTrees trees;
    // The role tree's one entry is role 9 with a word tree at 24; the second's words are the word 9, bits 24.
    const NodeOffset first = trees.hold(grantsOf({{9, 5}}));
    ASSERT_THAT(entries(trees, first), ElementsAre(std::pair(9, 24U)));
    const NodeOffset second = trees.hold(grantsOf({{1, 9 * 32 + 3}, {1, 9 * 32 + 4}}));

    EXPECT_NE(entries(trees, second)[0].second, first);
    trees.release(first);
    EXPECT_THAT(entries(trees, entries(trees, second)[0].second), ElementsAre(std::pair(9, 24U)));
    trees.release(second);
    EXPECT_EQ(recordsInUse(trees), 0U);
}

TEST(GrantTrees, UseRecordsAgain)
{
    GrantTrees trees;
    const auto round = [&trees](std::int32_t number) {
        std::vector<NodeOffset> held;
        held.reserve(50);
        for (std::int32_t tree = 0; tree < 50; ++tree) {
            held.push_back(
                trees.hold(grantsOf({{number, tree}, {number + 1, 50 * tree}, {tree - 100, number}})));
        }
        for (const NodeOffset tree : held) {
            trees.release(tree);
        }
    };
    round(1000);
    const std::size_t size = trees.nodes().size();
    for (std::int32_t number = 1001; number < 1100; ++number) {
        round(number);
    }

    EXPECT_LE(trees.nodes().size(), size + size / 10) << "rounds differ a little in what they share";
    EXPECT_EQ(recordsInUse(trees), 0U);
}

TEST(GrantTrees, AreAsTheyWereWhenThereIsNoRoom)
{
    GrantTrees trees(1 + 4);
    const NodeOffset known = trees.hold(grantsOf({{1, 5}}));
    ASSERT_EQ(recordsInUse(trees), 2U);

    // The role tree, the second word tree of two, and the first of two do not fit.
    EXPECT_THROW(trees.hold(grantsOf({{1, 6}, {2, 6}})), InputError);
    EXPECT_THROW(trees.hold(grantsOf({{1, 6}, {2, 7}, {3, 8}})), InputError);
    EXPECT_THROW(trees.hold(grantsOf({{1, 0}, {1, 32}, {1, 64}})), InputError);

    EXPECT_EQ(recordsInUse(trees), 2U);
    EXPECT_THAT(entries(trees, entries(trees, known)[0].second), ElementsAre(std::pair(0, 1U << 5U)));
    trees.release(known);
    EXPECT_EQ(recordsInUse(trees), 0U);
    EXPECT_NE(trees.hold(grantsOf({{1, 6}, {2, 6}})), 0U);
}

} // namespace
