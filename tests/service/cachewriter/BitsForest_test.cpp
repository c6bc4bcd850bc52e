#include "cachewriter/BitsForest.h"

#include <map>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using keepsafe_sandbox::BitsForest;
using keepsafe_sandbox::Grants;
using Tessara::Keepsafe::Rbac::NodeOffset;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::detail::BitsNode;
using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;
using Nodes = std::vector<BitsNode>;

Grants grantsOf(std::initializer_list<std::pair<std::int32_t, std::int32_t>> rolesAndBits)
{
    Grants grants;
    for (const auto& [roleId, bit] : rolesAndBits) {
        grants.add(roleId, Operation{bit});
    }
    return grants;
}

/// Keys and values of a tree, in the order of the keys if the tree is one.
std::vector<std::pair<std::int32_t, std::uint32_t>> entries(const Nodes& nodes, NodeOffset root)
{
    if (root == 0) {
        return {};
    }
    const BitsNode& node = nodes.at(root / sizeof(BitsNode));
    auto all = entries(nodes, node.left);
    all.emplace_back(node.key, node.value);
    const auto above = entries(nodes, node.right);
    all.insert(all.end(), above.begin(), above.end());
    return all;
}

TEST(BitsForest, ReservesRecordZero)
{
    EXPECT_EQ(BitsForest().roleTree(Grants()), 0U);
    EXPECT_THAT(BitsForest().take(), SizeIs(1));
}

TEST(BitsForest, OrdersRolesAndWordsAsSignedNumbers)
{
    BitsForest forest;
    const NodeOffset tree = forest.roleTree(
        grantsOf({{5, 0}, {-7, 32}, {-7, 1}, {2147483647, 3}, {-2147483647 - 1, 3}, {-7, 37}, {-7, 70}}));
    const Nodes nodes = std::move(forest).take();

    const auto roles = entries(nodes, tree);
    ASSERT_THAT(roles, ElementsAre(Pair(-2147483647 - 1, testing::_), Pair(-7, testing::_),
                                   Pair(5, testing::_), Pair(2147483647, testing::_)));
    EXPECT_THAT(entries(nodes, roles[1].second),
                ElementsAre(Pair(0, 2U), Pair(1, 1U | 1U << 5U), Pair(2, 1U << 6U)));
}

TEST(BitsForest, PutsAnOffsetBelowZeroIntoTheWordOfItsUnsignedValue)
{
    BitsForest forest;
    const NodeOffset tree = forest.roleTree(grantsOf({{1, -1}}));
    const Nodes nodes = std::move(forest).take();

    EXPECT_THAT(entries(nodes, entries(nodes, tree)[0].second), ElementsAre(Pair(0x07FFFFFF, 0x80000000U)));
}

TEST(BitsForest, StoresEqualRoleTreesOnce)
{
    BitsForest forest;
    const NodeOffset first = forest.roleTree(grantsOf({{1, 4}, {2, 5}}));
    const NodeOffset second = forest.roleTree(grantsOf({{2, 5}, {1, 4}}));

    EXPECT_EQ(first, second);
    EXPECT_THAT(std::move(forest).take(), SizeIs(1 + 2 + 2));
}

TEST(BitsForest, StoresEqualWordTreesOnce)
{
    BitsForest forest;
    const NodeOffset first = forest.roleTree(grantsOf({{1, 4}, {1, 40}, {2, 4}, {2, 40}}));
    const NodeOffset second = forest.roleTree(grantsOf({{3, 4}, {3, 40}}));
    const Nodes nodes = std::move(forest).take();

    EXPECT_EQ(entries(nodes, first)[0].second, entries(nodes, first)[1].second);
    EXPECT_EQ(entries(nodes, first)[0].second, entries(nodes, second)[0].second);
    EXPECT_THAT(nodes, SizeIs(1 + 2 + 2 + 1)) << "one word tree of two words, role trees of two and one role";
}

TEST(BitsForest, StoresATreeInOnePieceWithItsRootFirst)
{
    BitsForest forest;
    Grants grants;
    for (std::int32_t role = 0; role < 100; ++role) {
        grants.add(role, Operation{1});
    }
    const NodeOffset tree = forest.roleTree(grants);

    EXPECT_EQ(tree, 2 * sizeof(BitsNode)) << "right after the one word tree";
    EXPECT_THAT(std::move(forest).take(), SizeIs(1 + 1 + 100));
}

} // namespace
