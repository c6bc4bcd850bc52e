#include "GatePatience.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

using std::chrono::milliseconds;

class GatePatienceTest : public testing::Test {
protected:
    GatePatienceTest()
    {
        settings.gateOpen = milliseconds(20);
        settings.gateOpenLongest = milliseconds(80);
    }

    /// How long the gate is ignored once the patience is exhausted.
    static Clock::duration ignoredFor(GatePatience& patience)
    {
        const Clock::time_point start = Clock::now();
        patience.exhausted();
        while (patience.gateIsIgnored()) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        return Clock::now() - start;
    }

    LockSettings settings;
};

TEST_F(GatePatienceTest, GateIsRespectedAtFirst) { EXPECT_FALSE(GatePatience(settings).gateIsIgnored()); }

TEST_F(GatePatienceTest, GateThatNeverOpensIsIgnoredForLongerEachTimeUpToALimit)
{
    GatePatience patience(settings);
    for (const int expected : {20, 40, 80, 80}) {
        EXPECT_GE(ignoredFor(patience), milliseconds(expected));
    }
}

TEST_F(GatePatienceTest, ThreadsThatRunOutOfPatienceTogetherCountOnce)
{
    settings.gateOpen = std::chrono::hours(1);
    settings.gateOpenLongest = std::chrono::hours(100);
    GatePatience patience(settings);
    patience.exhausted();
    patience.exhausted();
    EXPECT_TRUE(patience.gateIsIgnored());
    EXPECT_EQ(patience.nextSpan(), std::chrono::hours(2));
}

TEST_F(GatePatienceTest, GateThatWasSeenOpenIsIgnoredForTheShortestTimeAgain)
{
    GatePatience patience(settings);
    ignoredFor(patience);
    patience.gateWasOpen();
    EXPECT_EQ(patience.nextSpan(), milliseconds(20));
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
