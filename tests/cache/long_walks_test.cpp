/// Walks through every record of a file: the longest that are not taken for a circle.

#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>

#include "support/CacheWriter.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr int LENGTH = 300;
constexpr std::int32_t ROOT_SEGMENT = 0x7C000000;
constexpr std::int32_t A_SEGMENT = 0x417C0000;

class LongWalksTest : public testing::Test {
protected:
    /// A list of segments of smaller keys that ends with the given one. Returns its root.
    std::uint32_t addLevel(std::int32_t key, std::uint32_t object, std::uint32_t nextLevel)
    {
        std::uint32_t root = writer_.add(segmentNode(key, 0, 0, object, nextLevel));
        for (std::int32_t smaller = 1; smaller < LENGTH; ++smaller) {
            root = writer_.add(segmentNode(key - smaller, 0, root, 0, 0));
        }
        return root;
    }
    AccessCache::Reader reader()
    {
        writer_.write(dir_.path("cache"));
        cache_ = std::make_unique<AccessCache>(Manifest("id", dir_.path("cache")));
        return cache_->lock();
    }

    TempDir dir_;
    CacheWriter writer_;
    std::unique_ptr<AccessCache> cache_;
};

TEST_F(LongWalksTest, MeetEverySegmentOnceOnTheWayDownAName)
{
    const auto object = writer_.add(managedObject(true, 0, 0));
    const auto third = addLevel(A_SEGMENT, object, 0);
    const auto second = addLevel(A_SEGMENT, 0, third);
    writer_.metadata.segmentRoot = addLevel(ROOT_SEGMENT, 0, second);
    const auto asked = reader();
    EXPECT_NE(asked.lookup(ObjectNamespace("A", "A")), nullptr);
    EXPECT_EQ(asked.lookup(ObjectNamespace("A", "B")), nullptr) << "behind the last of the third level";
}

TEST_F(LongWalksTest, MeetEveryNodeOnce)
{
    std::uint32_t root = writer_.add(bitsNode(0, 1));
    root = writer_.add(bitsNode(LENGTH, root));
    for (std::int32_t role = LENGTH - 1; role > 0; --role) {
        root = writer_.add(bitsNode(role, 0, 0, root));
    }
    const auto object = writer_.add(managedObject(true, root, 0));
    writer_.metadata.segmentRoot = writer_.add(segmentNode(ROOT_SEGMENT, 0, 0, object, 0));
    const auto asked = reader();
    EXPECT_TRUE(asked.getOperationBit(ObjectNamespace(), LENGTH, Operation{0}));
    EXPECT_FALSE(asked.getOperationBit(ObjectNamespace(), LENGTH + 1, Operation{0}));
}

} // namespace
} // namespace keepsafe_test
