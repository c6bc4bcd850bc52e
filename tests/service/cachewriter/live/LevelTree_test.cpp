#include "cachewriter/live/LevelTree.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using keepsafe_service::FileRange;
using keepsafe_service::LevelTree;
using Tessara::Keepsafe::Rbac::NodeOffset;
using Tessara::Keepsafe::Rbac::detail::SegmentNode;

class LevelTreeTest : public testing::Test {
protected:
    NodeOffset insert(std::int32_t key)
    {
        tree_.reserve(1);
        const LevelTree::Changed changed = tree_.insert(root_, key);
        root_ = changed.root;
        return changed.node;
    }

    void insertAll(const std::vector<std::int32_t>& keys)
    {
        std::for_each(keys.begin(), keys.end(), [this](std::int32_t key) { insert(key); });
    }

    void remove(std::int32_t key) { root_ = tree_.remove(root_, key); }

    /// Height of the tree; an unordered key fails the test.
    int checkedHeight() { return checkedHeight(root_, -1 - std::int64_t{INT32_MAX} - 1, INT64_MAX); }

    [[nodiscard]] std::vector<std::int32_t> keys() const
    {
        std::vector<std::int32_t> keys;
        collect(root_, keys);
        return keys;
    }

    /// How high a balanced tree of so many nodes may be.
    static int limit(std::size_t nodes)
    {
        return static_cast<int>(std::floor(1.4405 * std::log2(static_cast<double>(nodes) + 2)));
    }

    LevelTree::Nodes nodes_{"segments"};
    LevelTree tree_{nodes_};
    NodeOffset root_ = 0;

private:
    int checkedHeight(NodeOffset node, std::int64_t above, std::int64_t below)
    {
        if (node == 0) {
            return 0;
        }
        const std::int32_t key = nodes_[node].key;
        EXPECT_TRUE(key > above && key < below) << key;
        return 1 + std::max(checkedHeight(nodes_[node].left, above, key),
                            checkedHeight(nodes_[node].right, key, below));
    }

    void collect(NodeOffset node, std::vector<std::int32_t>& keys) const
    {
        if (node != 0) {
            collect(nodes_[node].left, keys);
            keys.push_back(nodes_[node].key);
            collect(nodes_[node].right, keys);
        }
    }
};

constexpr int MANY = 100'000;

std::vector<std::int32_t> ascending()
{
    std::vector<std::int32_t> keys(MANY);
    std::iota(keys.begin(), keys.end(), -MANY / 2);
    return keys;
}

TEST_F(LevelTreeTest, IsLowAfterInsertionsInAscendingOrder)
{
    insertAll(ascending());

    EXPECT_LE(checkedHeight(), 17) << "as low as can be";
    EXPECT_EQ(keys(), ascending());
}

TEST_F(LevelTreeTest, IsLowAfterInsertionsInDescendingOrder)
{
    std::vector<std::int32_t> keys = ascending();
    std::reverse(keys.begin(), keys.end());
    insertAll(keys);

    EXPECT_LE(checkedHeight(), 17);
}

TEST_F(LevelTreeTest, StaysLowWhileKeysAreRemovedInOrder)
{
    const std::vector<std::int32_t> all = ascending();
    insertAll(all);
    for (std::size_t removed = 0; removed < all.size(); ++removed) {
        remove(all[removed]);
        if (removed % 10'000 == 0) {
            EXPECT_LE(checkedHeight(), limit(all.size() - removed - 1));
        }
    }
    EXPECT_EQ(root_, 0U);
    EXPECT_EQ(nodes_.freeCount(), all.size());
}

TEST_F(LevelTreeTest, HoldsWhatWasInsertedAndNotRemovedInAnyOrder)
{
    std::mt19937 random(5); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same changes in every run
    std::set<std::int32_t> model;
    for (int step = 0; step < 20'000; ++step) {
        const std::int32_t key = static_cast<std::int32_t>(random() % 500) - 250;
        const bool isThere = model.count(key) != 0;
        EXPECT_EQ(tree_.find(root_, key) != 0, isThere);
        if (isThere && random() % 2 == 0) {
            remove(key);
            model.erase(key);
        } else {
            EXPECT_EQ(nodes_[insert(key)].key, key);
            model.insert(key);
        }
        if (step % 500 == 0) {
            ASSERT_EQ(keys(), std::vector<std::int32_t>(model.begin(), model.end()));
            ASSERT_LE(checkedHeight(), limit(model.size()));
        }
    }
    EXPECT_EQ(nodes_.size() - 1 - nodes_.freeCount(), model.size());
}

TEST_F(LevelTreeTest, TakesKeysAtTheBordersOfTheirRange)
{
    insertAll({0, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()});

    EXPECT_EQ(keys().front(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(keys().back(), std::numeric_limits<std::int32_t>::max());
}

TEST_F(LevelTreeTest, AnInsertionAmongManyChangesFewRecords)
{
    std::vector<std::int32_t> all = ascending();
    std::transform(all.begin(), all.end(), all.begin(), [](std::int32_t key) { return 2 * key; });
    insertAll(all);
    for (const std::int32_t key : {-MANY + 1, -1, MANY - 3, 12'345}) {
        nodes_.forgetChanges();
        insert(key);
        std::size_t bytes = 0;
        for (const FileRange& range : nodes_.changes().ranges) {
            bytes += range.bytes.size();
        }
        EXPECT_LE(bytes, 8 * sizeof(SegmentNode)) << "the node, its parent and a rotation, and gaps";
    }
}

TEST_F(LevelTreeTest, ARemovalLeavesAllOtherNodesInTheirPlaces)
{
    for (std::int32_t key = 0; key < 100; ++key) {
        EXPECT_EQ(insert(key), (static_cast<NodeOffset>(key) + 1) * sizeof(SegmentNode));
    }
    remove(nodes_[root_].key);
    remove(nodes_[root_].key);

    for (const std::int32_t key : keys()) {
        EXPECT_EQ(tree_.find(root_, key), (static_cast<NodeOffset>(key) + 1) * sizeof(SegmentNode));
    }
    EXPECT_THAT(keys(), testing::SizeIs(98));
}

} // namespace
