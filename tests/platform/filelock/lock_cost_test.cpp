// What the shared lock costs when nobody contends for it: system calls and allocations.

#include <algorithm>
#include <functional>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "allocations.h"
#include "slots_support.h"
#include "support/SystemCalls.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

void nothing() {}

TEST(SystemCallsTest, AreCounted)
{
    EXPECT_EQ(systemCallsOf(&nothing, &nothing), 0);
    EXPECT_EQ(systemCallsOf(&nothing,
                            [] {
                                for (int i = 0; i < 3; ++i) {
                                    getppid();
                                }
                            }),
              3);
}

class LockCostTest : public testing::Test {
protected:
    LockCostTest() { writeFile(path, ""); }

    [[nodiscard]] std::function<void()> sharedPairs(int count) const
    {
        return [this, count] {
            for (int i = 0; i < count; ++i) {
                const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                          FileLock::DEFAULT_INTERVAL);
            }
        };
    }

    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    const FileLock lock = FileLockManager::instance().getLock(path);
};

TEST_F(LockCostTest, SharedPairByTheKernelLockTakesAtMostThreePointTwoSystemCallsOnAverage)
{
    constexpr int PAIRS = 2000;
    // The path is looked at once in 10 ms, and tracing makes a run many times as long as it is.
    constexpr double CALLS_OF_A_LOOK = 4;
    const auto start = std::chrono::steady_clock::now();
    const auto calls = static_cast<double>(systemCallsOf(sharedPairs(1), sharedPairs(PAIRS)));
    const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    const double looks = elapsed.count() / 10 + 1;
    RecordProperty("system_calls_per_pair", std::to_string(calls / PAIRS));
    EXPECT_LE(calls - looks * CALLS_OF_A_LOOK, 3.2 * PAIRS);
    EXPECT_GE(calls, 3.0 * PAIRS) << "lock, look and unlock are three: the count must be wrong";
}

TEST_F(LockCostTest, SharedPairBySlotTakesNoSystemCall)
{
    makeControlPage(lock);
    EXPECT_EQ(fewestSystemCallsOf([&] { getsSlot(lock); }, sharedPairs(2000)), 0);
}

TEST_F(LockCostTest, SharedPairsBySlotLookAtThePathsNotMoreOftenThanEveryTenMilliseconds)
{
    constexpr long CALLS_OF_A_LOOK = 4; // the lock file, the folder and both files in it
    makeControlPage(lock);
    const auto forAWhile = [&] {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
        while (std::chrono::steady_clock::now() < end) {
            sharedPairs(100)();
        }
    };
    const long calls = fewestSystemCallsOf([&] { getsSlot(lock); }, forAWhile);
    EXPECT_GE(calls, CALLS_OF_A_LOOK) << "nobody looks";
    EXPECT_LE(calls, CALLS_OF_A_LOOK * 11);
}

TEST_F(LockCostTest, TakingASharedLockAllocatesNothingAfterTheFirstTime)
{
    for (const bool bySlot : {false, true}) {
        if (bySlot) {
            makeControlPage(lock);
            ASSERT_TRUE(getsSlot(lock));
        }
        sharedPairs(1)();
        const std::size_t before = allocations();
        for (int i = 0; i < 100; ++i) {
            const FileLockGuard outer(lock, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                      FileLock::DEFAULT_INTERVAL);
            sharedPairs(1)();
        }
        EXPECT_EQ(allocations(), before);
    }
}

} // namespace
} // namespace keepsafe_test
