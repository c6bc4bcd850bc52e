/// How long a waiter pauses, without waiting: the functions here stand in for the C library's.

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>

#include "Backoff.h"

namespace {

std::vector<std::int64_t> sleepsNs;
int yields = 0;

} // namespace

int nanosleep(const timespec* requested, timespec* /*remaining*/)
{
    sleepsNs.push_back(requested->tv_sec * 1000000000 + requested->tv_nsec);
    return 0;
}

int sched_yield() noexcept
{
    ++yields;
    return 0;
}

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

class BackoffPauses : public testing::Test {
protected:
    BackoffPauses()
    {
        sleepsNs.clear();
        yields = 0;
    }
    static void pause(Backoff& backoff, int times, const Deadline& deadline = Deadline(-1))
    {
        for (int i = 0; i < times; ++i) {
            backoff.pause(deadline);
        }
    }
};

TEST_F(BackoffPauses, BeginWithFourYields)
{
    Backoff backoff(milliseconds(1));
    for (int round = 1; round <= 2; ++round) {
        pause(backoff, 4);
        EXPECT_EQ(yields, 4 * round);
        EXPECT_THAT(sleepsNs, SizeIs(round - 1));
        pause(backoff, 1);
        EXPECT_EQ(yields, 4 * round);
        EXPECT_THAT(sleepsNs, SizeIs(round));
        backoff.restart();
    }
}

TEST_F(BackoffPauses, DoubleFrom20MicrosecondsToTheLongestAndAreShortenedByHalfAtMost)
{
    constexpr int ROUNDS = 2000; // enough for the shortest and the longest to be within a hundredth
    const std::vector<std::int64_t> limits = {20000, 40000, 80000, 100000, 100000};
    std::vector<std::vector<std::int64_t>> found(limits.size());
    Backoff backoff(microseconds(100));
    for (int round = 0; round < ROUNDS; ++round) {
        sleepsNs.clear();
        pause(backoff, 4 + static_cast<int>(limits.size()));
        for (std::size_t i = 0; i < limits.size(); ++i) {
            found[i].push_back(sleepsNs.at(i));
        }
        backoff.restart();
    }
    for (std::size_t i = 0; i < limits.size(); ++i) {
        const auto [least, most] = std::minmax_element(found[i].begin(), found[i].end());
        EXPECT_GE(*least, limits[i] / 2);
        EXPECT_LE(*least, limits[i] / 2 + limits[i] / 100);
        EXPECT_GE(*most, limits[i] - limits[i] / 100);
        EXPECT_LE(*most, limits[i]);
    }
}

TEST_F(BackoffPauses, OfSeveralWaitersDiffer)
{
    for (int waiter = 0; waiter < 100; ++waiter) {
        Backoff backoff(milliseconds(1));
        pause(backoff, 5);
    }
    EXPECT_GT(std::set<std::int64_t>(sleepsNs.begin(), sleepsNs.end()).size(), 10U);
}

TEST_F(BackoffPauses, AreNeverBoundBelow20Microseconds)
{
    Backoff backoff(microseconds(5));
    pause(backoff, 1000);
    EXPECT_GT(*std::max_element(sleepsNs.begin(), sleepsNs.end()), 15000);
    EXPECT_THAT(sleepsNs, Each(Le(20000)));
}

TEST_F(BackoffPauses, EndAtTheDeadline)
{
    Backoff backoff(std::chrono::hours(1));
    pause(backoff, 4 + 30, Deadline(1000));
    EXPECT_THAT(sleepsNs, Each(Le(1000000000)));
    sleepsNs.clear();
    pause(backoff, 5, Deadline(0));
    EXPECT_THAT(sleepsNs, IsEmpty());
}

TEST_F(BackoffPauses, OfOneSleepAreExact)
{
    sleepOnce(nanoseconds(1000000000));
    sleepOnce(nanoseconds(1999999999));
    sleepOnce(nanoseconds(2345678901));
    sleepOnce(nanoseconds(0));
    sleepOnce(nanoseconds(-1));
    EXPECT_THAT(sleepsNs, ElementsAre(1000000000, 1999999999, 2345678901));
}

TEST(DeadlineTest, IsNeverForAWaitWithoutEndAndAtOnceForNone)
{
    EXPECT_FALSE(Deadline(-1).passed());
    EXPECT_TRUE(Deadline(0).passed());
    EXPECT_FALSE(Deadline(1000000).passed());
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
