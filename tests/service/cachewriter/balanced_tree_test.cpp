#include "cachewriter/balanced_tree.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using keepsafe_service::balancedTree;
using keepsafe_service::TreeSlot;
using testing::IsEmpty;
using Tree = std::vector<TreeSlot>;

std::vector<std::uint32_t> keysInOrder(const Tree& tree)
{
    std::vector<std::uint32_t> keys;
    const std::function<void(std::uint32_t)> visit = [&](std::uint32_t slot) {
        if (tree[slot].left != 0) {
            visit(tree[slot].left);
        }
        keys.push_back(tree[slot].key);
        if (tree[slot].right != 0) {
            visit(tree[slot].right);
        }
    };
    visit(0);
    return keys;
}

/// Slots on the way from the root to a key.
std::vector<std::uint32_t> walk(const Tree& tree, std::uint32_t key)
{
    std::vector<std::uint32_t> slots{0};
    while (tree[slots.back()].key != key) {
        const TreeSlot& slot = tree[slots.back()];
        slots.push_back(key < slot.key ? slot.left : slot.right);
    }
    return slots;
}

std::size_t sizeOf(const Tree& tree, std::uint32_t slot)
{
    std::size_t size = 1;
    size += tree[slot].left == 0 ? 0 : sizeOf(tree, tree[slot].left);
    size += tree[slot].right == 0 ? 0 : sizeOf(tree, tree[slot].right);
    return size;
}

/// Mean number of blocks of `slotsPerBlock` that a walk to a key meets, when slot s is stored at `place(s)`.
double meanBlocks(const Tree& tree, std::size_t slotsPerBlock,
                  const std::function<std::size_t(std::uint32_t)>& place)
{
    std::size_t blocks = 0;
    for (std::uint32_t key = 0; key < tree.size(); ++key) {
        std::set<std::size_t> met;
        for (const std::uint32_t slot : walk(tree, key)) {
            met.insert(place(slot) / slotsPerBlock);
        }
        blocks += met.size();
    }
    return static_cast<double>(blocks) / static_cast<double>(tree.size());
}

TEST(BalancedTree, HasNoSlotsWithoutKeys) { EXPECT_THAT(balancedTree(0), IsEmpty()); }

class BalancedTreeOfSize : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Sizes, BalancedTreeOfSize,
                         testing::Values(1, 2, 3, 4, 5, 7, 8, 15, 16, 31, 100, 255, 256, 1000, 4097));

TEST_P(BalancedTreeOfSize, HoldsEveryKeyInOrder)
{
    std::vector<std::uint32_t> all(GetParam());
    std::iota(all.begin(), all.end(), 0U);

    EXPECT_EQ(keysInOrder(balancedTree(GetParam())), all);
}

TEST_P(BalancedTreeOfSize, IsNoHigherThanItHasToBe)
{
    const Tree tree = balancedTree(GetParam());
    std::size_t longest = 0;
    for (std::uint32_t key = 0; key < tree.size(); ++key) {
        longest = std::max(longest, walk(tree, key).size());
    }

    EXPECT_LE(std::size_t{1} << (longest - 1), GetParam()) << "a tree of one level less has too few places";
}

TEST_P(BalancedTreeOfSize, HasSubtreesThatDifferByOneKeyAtMost)
{
    const Tree tree = balancedTree(GetParam());
    for (const TreeSlot& slot : tree) {
        const auto left = static_cast<long>(slot.left == 0 ? 0 : sizeOf(tree, slot.left));
        const auto right = static_cast<long>(slot.right == 0 ? 0 : sizeOf(tree, slot.right));
        EXPECT_LE(std::abs(left - right), 1) << "at key " << slot.key;
    }
}

TEST(BalancedTree, KeepsTheUpperHalfOfTheLevelsBeforeTheSubtreesBelow)
{
    // 15 keys, 4 levels: the upper 2 levels are keys 7, 3, 11, then come the subtrees of 3 keys each.
    std::vector<std::uint32_t> keys;
    for (const TreeSlot& slot : balancedTree(15)) {
        keys.push_back(slot.key);
    }

    EXPECT_THAT(keys, testing::ElementsAre(7, 3, 11, 1, 0, 2, 5, 4, 6, 9, 8, 10, 13, 12, 14));
}

TEST(BalancedTree, LetsAWalkMeetFewerBlocksOfEverySizeThanKeyOrderWould)
{
    const Tree tree = balancedTree(20000);
    const auto asStored = [](std::uint32_t slot) { return std::size_t{slot}; };
    const auto inKeyOrder = [&tree](std::uint32_t slot) { return std::size_t{tree[slot].key}; };

    // Blocks as records of 32 bytes fill cache lines of 64 and 128 bytes and pages of 4 KiB and 64 KiB.
    for (const std::size_t slotsPerBlock : {2U, 4U, 128U, 2048U}) {
        EXPECT_LT(meanBlocks(tree, slotsPerBlock, asStored), meanBlocks(tree, slotsPerBlock, inKeyOrder))
            << slotsPerBlock << " slots in a block";
    }
    EXPECT_LT(meanBlocks(tree, 128, asStored), 4.0) << "pages of a walk through 15 levels";
}

} // namespace
