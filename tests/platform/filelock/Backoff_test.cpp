#include "Backoff.h"

#include <algorithm>
#include <chrono>

#include <gtest/gtest.h>

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

using std::chrono::milliseconds;

template <typename Wait>
Clock::duration timeOf(const Wait& wait)
{
    const Clock::time_point start = Clock::now();
    wait();
    return Clock::now() - start;
}

TEST(Backoff, SleepsAtLeastAsLongAsItIsAsked)
{
    EXPECT_GE(timeOf([] { sleepOnce(milliseconds(20)); }), milliseconds(20));
    EXPECT_GE(timeOf([] { sleepOnce(milliseconds(1010)); }), milliseconds(1010));
}

TEST(Backoff, PausesLongerAndLongerUpToTheLongestPause)
{
    Backoff backoff(milliseconds(8));
    const Deadline never(-1);
    // Yields, then pauses of 20, 40, ..., 5120 and 8000 microseconds, each shortened by half at most.
    for (int pause = 0; pause < 20; ++pause) {
        backoff.pause(never);
    }
    EXPECT_GE(timeOf([&] { backoff.pause(never); }), milliseconds(4));
    Clock::duration shortest = Clock::duration::max();
    for (int i = 0; i < 20; ++i) { // on a busy machine a yield can take long
        backoff.restart();
        shortest = std::min(shortest, timeOf([&] { backoff.pause(never); }));
    }
    EXPECT_LT(shortest, milliseconds(4));
}

TEST(Backoff, EndsAPauseAtTheDeadline)
{
    Backoff backoff(std::chrono::seconds(100));
    const Deadline soon(30);
    while (!soon.passed()) {
        backoff.pause(soon);
    }
    EXPECT_LT(Clock::now() - soon.at(), std::chrono::seconds(10));
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
