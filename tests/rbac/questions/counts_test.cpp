#include <keepsafe/rbac/questions/counts.h>

#include <chrono>
#include <cmath>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/questions/bulk_check.h>

#include "rbac/questions/QuestionsTest.h"
#include "support/Process.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::checkCounts;
using Tessara::Keepsafe::Rbac::CheckCounts;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::metricsText;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

/// Role 1 holds an operation below |A|.
class CountsTest : public testing::Test {
protected:
    CountsTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace("A")] = {true, {}, {{1, {4}}}};
        root_.open(model);
    }

    [[nodiscard]] DiskAccessChecker checker() { return {root_.client().accessCache(), {1}, Operation{4}, 0}; }
    void checkAndDeny(int count)
    {
        const DiskAccessChecker asked = checker();
        for (int i = 0; i < count; ++i) {
            EXPECT_FALSE(asked.checkAccess(ObjectNamespace("B")));
        }
    }

    QuestionsRoot root_{"{}"};
    const CheckCounts before_ = checkCounts();
};

std::uint64_t measured(const CheckCounts& counts)
{
    std::uint64_t sum = 0;
    for (const auto& bucket : counts.durations) {
        sum += bucket.count;
    }
    return sum;
}

TEST_F(CountsTest, ChecksAndDenialsAreCounted)
{
    checkAndDeny(2);
    EXPECT_TRUE(checker().checkAccess(ObjectNamespace("A", "X")));
    const CheckCounts after = checkCounts();
    EXPECT_EQ(after.checks - before_.checks, 3U);
    EXPECT_EQ(after.denials - before_.denials, 2U);
    EXPECT_EQ(after.errors, before_.errors);
}

TEST_F(CountsTest, EachObjectOfARowIsACheck)
{
    static_cast<void>(
        checkRow(checker(), std::vector<ObjectNamespace>{ObjectNamespace("A", "X"), ObjectNamespace("B"),
                                                         ObjectNamespace("A", "Y")}));
    const CheckCounts after = checkCounts();
    EXPECT_EQ(after.checks - before_.checks, 3U);
    EXPECT_EQ(after.denials - before_.denials, 1U);
}

TEST_F(CountsTest, AnExceptionIsAnErrorAndNoDenial)
{
    CacheWriter cache;
    cache.metadata.writeInProgress = 1;
    root_.write(cache);
    root_.open();
    const CapturedLog log(17);
    EXPECT_THROW(static_cast<void>(checker().checkAccess(ObjectNamespace("A"))), EC_exception);
    const CheckCounts after = checkCounts();
    EXPECT_EQ(after.checks - before_.checks, 1U);
    EXPECT_EQ(after.errors - before_.errors, 1U);
    EXPECT_EQ(after.denials, before_.denials);
}

TEST_F(CountsTest, ThreadsThatHaveEndedStayCounted)
{
    for (int round = 0; round < 3; ++round) {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([this] { checkAndDeny(10); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    EXPECT_EQ(checkCounts().checks - before_.checks, 120U);
    EXPECT_EQ(checkCounts().denials - before_.denials, 120U);
}

TEST_F(CountsTest, MoreThreadsThanHavePlacesOfTheirOwnAreCounted)
{
    constexpr unsigned THREADS = 520;
    std::promise<void> end;
    const std::shared_future<void> isOver = end.get_future().share();
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < THREADS; ++i) {
        std::promise<void> checked;
        const std::future<void> isChecked = checked.get_future();
        threads.emplace_back([this, isOver, done = std::move(checked)]() mutable {
            checkAndDeny(1);
            done.set_value();
            isOver.wait();
        });
        isChecked.wait(); // threads that share a place count exactly one after the other
    }
    end.set_value();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(checkCounts().denials - before_.denials, THREADS);
}

TEST_F(CountsTest, OneCheckIn256IsMeasured)
{
    checkAndDeny(10 * 256);
    const CheckCounts after = checkCounts();
    EXPECT_EQ(measured(after) - measured(before_), 10U);
    EXPECT_GT(after.measuredSeconds, before_.measuredSeconds);
}

TEST_F(CountsTest, AChildBeginsAtZero)
{
    checkAndDeny(5);
    Process child = Process::fork([this] {
        const bool isZero = checkCounts().checks == 0;
        checkAndDeny(3);
        return isZero && checkCounts().checks == 3 ? 0 : 1;
    });
    EXPECT_EQ(child.wait().exitStatus, 0);
    EXPECT_EQ(checkCounts().checks - before_.checks, 5U);
}

TEST_F(CountsTest, AReaderThatHadToWaitForAWriterCountsAWait)
{
    const FileLock lock = FileLockManager::instance().getLock(root_.directory() + "/manifest.json");
    std::uint64_t readers = 0;
    // A reader that gets the processor late finds the lock free.
    while (checkCounts().waits == before_.waits) {
        std::thread reader;
        {
            const FileLockGuard writer(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                       FileLock::DEFAULT_INTERVAL);
            reader = std::thread([this] { checkAndDeny(1); });
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            EXPECT_EQ(checkCounts().denials - before_.denials, readers);
        }
        reader.join();
        ++readers;
    }
    EXPECT_EQ(checkCounts().denials - before_.denials, readers);
    EXPECT_EQ(checkCounts().waits - before_.waits, 1U);
}

TEST_F(CountsTest, AFileThatGrowsIsARefresh)
{
    checkAndDeny(1);
    const auto refreshes = checkCounts().refreshes;
    writeFile(root_.directory() + "/nodes", readFile(root_.directory() + "/nodes") + std::string(24, '\0'));
    checkAndDeny(1);
    EXPECT_GT(checkCounts().refreshes, refreshes);
}

TEST(MetricsText, IsReadByMonitoringSystems)
{
    const CheckCounts counts{7, 3, 1, 2, 4, {{2.5e-07, 5}, {1e-06, 1}, {INFINITY, 1}}, 0.0125};
    EXPECT_EQ(metricsText(counts),
              "# HELP keepsafe_rbac_checks_total Checks that asked an access cache.\n"
              "# TYPE keepsafe_rbac_checks_total counter\n"
              "keepsafe_rbac_checks_total 7\n"
              "# HELP keepsafe_rbac_denials_total Checks that were answered with no.\n"
              "# TYPE keepsafe_rbac_denials_total counter\n"
              "keepsafe_rbac_denials_total 3\n"
              "# HELP keepsafe_rbac_check_errors_total Checks that ended without an answer.\n"
              "# TYPE keepsafe_rbac_check_errors_total counter\n"
              "keepsafe_rbac_check_errors_total 1\n"
              "# HELP keepsafe_rbac_writer_waits_total Times that a reader had to wait for a writer.\n"
              "# TYPE keepsafe_rbac_writer_waits_total counter\n"
              "keepsafe_rbac_writer_waits_total 2\n"
              "# HELP keepsafe_rbac_cache_refreshes_total Times that changed cache files were mapped again.\n"
              "# TYPE keepsafe_rbac_cache_refreshes_total counter\n"
              "keepsafe_rbac_cache_refreshes_total 4\n"
              "# HELP keepsafe_rbac_check_duration_seconds Duration of checks; one in 256 is measured.\n"
              "# TYPE keepsafe_rbac_check_duration_seconds histogram\n"
              "keepsafe_rbac_check_duration_seconds_bucket{le=\"2.5e-07\"} 5\n"
              "keepsafe_rbac_check_duration_seconds_bucket{le=\"1e-06\"} 6\n"
              "keepsafe_rbac_check_duration_seconds_bucket{le=\"+Inf\"} 7\n"
              "keepsafe_rbac_check_duration_seconds_sum 0.0125\n"
              "keepsafe_rbac_check_duration_seconds_count 7\n");
}

} // namespace
} // namespace keepsafe_test
