#include "CoarseClock.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "RepeatedLines.h"
#include "support/CoarseClock.h"

namespace keepsafe_test {
namespace {

using std::chrono::milliseconds;
using Tessara::Keepsafe::Process::coarseMilliseconds;
using Tessara::Keepsafe::Process::Freshness;
using Tessara::Keepsafe::Process::OnceInAWhile;
using Tessara::Keepsafe::Process::RepeatedLines;

constexpr std::uint64_t NONE_HELD_BACK = 0;

TEST(CoarseMilliseconds, AreTheWholeOnesSinceTheClockBegan)
{
    setCoarseClock({12, 345999999});
    EXPECT_EQ(coarseMilliseconds(), 12345);
}

TEST(OnceInAWhile, IsDueAtTheStartAndAfterEachInterval)
{
    setCoarseMilliseconds(0);
    OnceInAWhile look;
    EXPECT_TRUE(look.isDue(milliseconds(10)));
    setCoarseMilliseconds(9);
    EXPECT_FALSE(look.isDue(milliseconds(10)));
    setCoarseMilliseconds(10);
    EXPECT_TRUE(look.isDue(milliseconds(10)));
    EXPECT_FALSE(look.isDue(milliseconds(10)));
}

TEST(OnceInAWhile, IsDueWhenItIsMadeSo)
{
    setCoarseMilliseconds(0);
    OnceInAWhile look;
    EXPECT_TRUE(look.isDue(milliseconds(10)));
    look.makeDue();
    EXPECT_TRUE(look.isDue(milliseconds(10)));
}

TEST(FreshnessOfACheck, EndsAtItsAgeFromTheStartOfTheCheck)
{
    setCoarseMilliseconds(0);
    Freshness check;
    EXPECT_TRUE(check.isStale(milliseconds(1000000))) << "nothing has been checked";
    check.renew(5000);
    setCoarseMilliseconds(5009);
    EXPECT_FALSE(check.isStale(milliseconds(10)));
    setCoarseMilliseconds(5010);
    EXPECT_TRUE(check.isStale(milliseconds(10)));
    EXPECT_FALSE(check.isStale(milliseconds(11)));
    check.makeStale();
    EXPECT_TRUE(check.isStale(milliseconds(1000000)));
}

TEST(RepeatedLinesByTheClock, PassASecondAfterTheyLastPassed)
{
    setCoarseMilliseconds(0);
    RepeatedLines lines;
    EXPECT_EQ(lines.admit("a line"), NONE_HELD_BACK);
    setCoarseMilliseconds(999);
    EXPECT_EQ(lines.admit("a line"), std::nullopt);
    setCoarseMilliseconds(1000);
    EXPECT_EQ(lines.admit("a line"), std::uint64_t{1});
    setCoarseMilliseconds(1999);
    EXPECT_EQ(lines.admit("a line"), std::nullopt);
}

TEST(RepeatedLinesByTheClock, BeyondSixtyFourDifferentOnesPassUntilAPlaceIsFree)
{
    setCoarseMilliseconds(5000);
    RepeatedLines lines;
    for (int line = 0; line < 64; ++line) {
        EXPECT_EQ(lines.admit(std::to_string(line)), NONE_HELD_BACK);
        EXPECT_EQ(lines.admit(std::to_string(line)), std::nullopt);
    }
    EXPECT_EQ(lines.admit("one more"), NONE_HELD_BACK);
    EXPECT_EQ(lines.admit("one more"), NONE_HELD_BACK) << "nothing is known of it";
    setCoarseMilliseconds(6000);
    EXPECT_EQ(lines.admit("one more"), NONE_HELD_BACK) << "not those of the line whose place it takes";
    EXPECT_EQ(lines.admit("one more"), std::nullopt);
}

} // namespace
} // namespace keepsafe_test
