#include "ThreadHolds.h"

#include <array>
#include <thread>

#include <gtest/gtest.h>

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

using Kind = ThreadHolds::Kind;

class ThreadHoldsTest : public testing::Test {
protected:
    ThreadHolds holds{};
    std::array<int, 40> locks{};
};

TEST_F(ThreadHoldsTest, HoldEndsWithItsLastRemoval)
{
    holds.add(&locks[0], Kind::Shared);
    holds.add(&locks[0], Kind::Shared);
    holds.remove(&locks[0]);
    EXPECT_EQ(holds.find(&locks[0]), Kind::Shared);
    holds.remove(&locks[0]);
    EXPECT_EQ(holds.find(&locks[0]), Kind::None);
}

TEST_F(ThreadHoldsTest, HoldsEndInAnyOrder)
{
    for (int i = 0; i < 4; ++i) {
        holds.add(&locks[static_cast<std::size_t>(i)], i % 2 == 0 ? Kind::Shared : Kind::Exclusive);
    }
    holds.remove(&locks[1]);
    holds.remove(&locks[0]);
    EXPECT_EQ(holds.find(&locks[0]), Kind::None);
    EXPECT_EQ(holds.find(&locks[1]), Kind::None);
    EXPECT_EQ(holds.find(&locks[2]), Kind::Shared);
    EXPECT_EQ(holds.find(&locks[3]), Kind::Exclusive);
}

TEST_F(ThreadHoldsTest, LocksBeyondItsSizeGoUntracked)
{
    for (int& lock : locks) {
        holds.add(&lock, Kind::Shared);
    }
    EXPECT_EQ(holds.find(&locks.front()), Kind::Shared);
    EXPECT_EQ(holds.find(&locks.back()), Kind::None);
    for (int& lock : locks) {
        holds.remove(&lock);
    }
    for (int& lock : locks) {
        EXPECT_EQ(holds.find(&lock), Kind::None);
    }
}

TEST_F(ThreadHoldsTest, EachThreadHasItsOwn)
{
    ThreadHolds::ofThisThread().add(&locks[0], Kind::Exclusive);
    std::thread([&] { EXPECT_EQ(ThreadHolds::ofThisThread().find(&locks[0]), Kind::None); }).join();
    ThreadHolds::ofThisThread().clear();
    EXPECT_EQ(ThreadHolds::ofThisThread().find(&locks[0]), Kind::None);
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
