// What a check costs when no writer is at work: system calls and allocations, counted.

#include <chrono>
#include <functional>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "platform/filelock/allocations.h"
#include "platform/filelock/slots_support.h"
#include "support/CacheWriter.h"
#include "support/SystemCalls.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

class CheckCostTest : public testing::Test {
protected:
    CheckCostTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace("A", "B")].own[3] = {4};
        CacheWriter(model, {}).write(directory_.path("cache"));
        cache_ = boost::make_shared<const AccessCache>(Manifest("id", directory_.path("cache")));
        object_.str();
    }
    /// Afterwards readers take the lock by slots.
    void letAWriterCome() const { makeControlPage(lock_); }

    [[nodiscard]] std::function<void()> checks(int count) const
    {
        return [this, count] {
            const DiskAccessChecker checker(cache_, {3}, Operation{4}, 0);
            for (int i = 0; i < count; ++i) {
                if (!checker.checkAccess(object_)) {
                    throw std::runtime_error("the check is denied");
                }
            }
        };
    }
    /// So that the process has its file of slots, and the cache's sizes are known for the writes so far.
    [[nodiscard]] std::function<void()> warmUp() const
    {
        return [this] {
            getsSlot(lock_);
            checks(100)();
        };
    }

    const TempDir directory_;
    const FileLock lock_ = FileLockManager::instance().getLock(directory_.path("cache/manifest.json"));
    const ObjectNamespace object_{"A", "B"};
    boost::shared_ptr<const AccessCache> cache_;
};

TEST_F(CheckCostTest, ChecksMakeNoSystemCall)
{
    letAWriterCome();
    EXPECT_EQ(fewestSystemCallsOf(warmUp(), checks(2000)), 0);
}

TEST_F(CheckCostTest, CheckThatFindsNoControlPageAsksForTheSizesOfThreeFilesAndTakesTheKernelLock)
{
    constexpr int CHECKS = 1000;
    constexpr long LOCK_LOOK_AND_UNLOCK = 3;
    constexpr long SIZES = 3;
    // The paths are looked at by the clock, and tracing makes a run many times as long as it is: those of the
    // cache's files every 5 ms, that of the lock file every 10 ms.
    constexpr long CALLS_OF_LOOKS = 4 + 4;
    const auto start = std::chrono::steady_clock::now();
    const long calls = systemCallsOf(checks(10), checks(CHECKS));
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    EXPECT_GE(calls, CHECKS * (LOCK_LOOK_AND_UNLOCK + SIZES));
    // The gate is asked about now and then, too.
    EXPECT_LE(calls,
              CHECKS * (LOCK_LOOK_AND_UNLOCK + SIZES) * 11 / 10 + (elapsed.count() / 5 + 1) * CALLS_OF_LOOKS);
}

TEST_F(CheckCostTest, ChecksAllocateNothing)
{
    letAWriterCome();
    warmUp()();
    const DiskAccessChecker checker(cache_, {3}, Operation{4}, 0);
    const std::size_t before = allocations();
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(checker.checkAccess(object_));
    }
    EXPECT_EQ(allocations(), before);
}

} // namespace
} // namespace keepsafe_test
