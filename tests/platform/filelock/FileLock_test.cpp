#include <keepsafe/platform/filelock/FileLock.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/status/status_codes.h>

#include "LockHolder.h"
#include "lock_descriptors.h"
#include "platform/filelock/taking.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class FileLockTest : public testing::Test {
protected:
    FileLockTest() { writeFile(path, ""); }

    [[nodiscard]] FileLock lock() const { return FileLockManager::instance().getLock(path); }

    const TempDir directory;
    const std::string path = directory.path("manifest.json");
};

TEST_F(FileLockTest, ExclusiveLockKeepsOtherProcessesOut)
{
    const FileLock held = lock();
    const FileLockGuard guard = take(held, FileLock::EXCLUSIVE);
    EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
}

TEST_F(FileLockTest, SharedLockAdmitsReadersOfOtherProcessesAndKeepsWritersOut)
{
    const FileLock held = lock();
    const FileLockGuard guard = take(held, FileLock::SHARED);
    EXPECT_EQ(tryInOtherProcess(path, "shared"), "held");
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
}

TEST_F(FileLockTest, LockOfAnotherProcessKeepsThisOneOut)
{
    LockHolder other(path, "exclusive", AT_ONCE);
    ASSERT_EQ(other.outcome(), "held");
    EXPECT_THROW(take(lock(), FileLock::SHARED), FileLockTimeout);
    EXPECT_THROW(take(lock(), FileLock::EXCLUSIVE), FileLockTimeout);
}

TEST_F(FileLockTest, ThreadsOfOneProcessExcludeEachOtherAsProcessesDo)
{
    const FileLock held = lock();
    {
        const FileLockGuard guard = take(held, FileLock::EXCLUSIVE);
        inAnotherThread([&] {
            EXPECT_THROW(take(held, FileLock::SHARED), FileLockTimeout);
            EXPECT_THROW(take(held, FileLock::EXCLUSIVE), FileLockTimeout);
        });
    }
    const FileLockGuard guard = take(held, FileLock::SHARED);
    inAnotherThread([&] {
        EXPECT_NO_THROW(take(held, FileLock::SHARED));
        EXPECT_THROW(take(held, FileLock::EXCLUSIVE), FileLockTimeout);
    });
}

TEST_F(FileLockTest, IsFreeAgainAfterTheGuardsEnd)
{
    const FileLock held = lock();
    for (const int type : {FileLock::SHARED, FileLock::EXCLUSIVE}) {
        {
            const FileLockGuard guard = take(held, type);
        }
        EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
    }
}

TEST_F(FileLockTest, TimesOutNoEarlierThanAsked)
{
    const CapturedLog log;
    LockHolder other(path, "exclusive", AT_ONCE);
    ASSERT_EQ(other.outcome(), "held");
    for (const int type : {FileLock::SHARED, FileLock::EXCLUSIVE}) {
        const Clock::time_point start = Clock::now();
        EXPECT_THROW(take(lock(), type, 50), FileLockTimeout);
        EXPECT_GE(Clock::now() - start, milliseconds(50));
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FileLockTest, TimeoutHasTheStatusOfAnUnusableCache)
{
    LockHolder other(path, "exclusive", AT_ONCE);
    ASSERT_EQ(other.outcome(), "held");
    EXPECT_EQ(refusal(lock(), FileLock::SHARED), Tessara::Keepsafe::Status::CACHE_UNUSABLE);
}

TEST_F(FileLockTest, WaitsWithoutEndUntilTheHolderReleases)
{
    for (const int type : {FileLock::SHARED, FileLock::EXCLUSIVE}) {
        LockHolder other(path, "exclusive", AT_ONCE);
        ASSERT_EQ(other.outcome(), "held");
        std::atomic<bool> released{false};
        std::thread releaser([&] {
            std::this_thread::sleep_for(milliseconds(20));
            released = true;
            other.release();
        });
        {
            const FileLock held = lock();
            const FileLockGuard guard = take(held, type, FileLock::WAIT_FOREVER);
            EXPECT_TRUE(released);
        }
        releaser.join();
    }
}

TEST_F(FileLockTest, IsFreeAfterItsHolderWasKilled)
{
    for (const std::string type : {"shared", "exclusive"}) {
        LockHolder other(path, type, AT_ONCE);
        ASSERT_EQ(other.outcome(), "held");
        other.kill();
        EXPECT_NO_THROW(take(lock(), FileLock::EXCLUSIVE));
    }
}

TEST_F(FileLockTest, SharedInsideSharedSucceedsWhileAWriterWaits)
{
    const FileLock held = lock();
    const FileLockGuard outer = take(held, FileLock::SHARED);
    LockHolder writer(path, "exclusive", FileLock::WAIT_FOREVER);
    int newcomersRefused = 0;
    for (const Clock::time_point end = Clock::now() + std::chrono::seconds(20);
         newcomersRefused < 20 && Clock::now() < end;) {
        inAnotherThread([&] { newcomersRefused += refusal(held, FileLock::SHARED) != 0 ? 1 : 0; });
        ASSERT_NO_THROW(take(held, FileLock::SHARED));
    }
    EXPECT_EQ(newcomersRefused, 20) << "no writer shut the gate, so nothing was shown";
}

TEST_F(FileLockTest, ThreadThatWouldWaitForItselfIsRefusedAtOnce)
{
    const CapturedLog log;
    const FileLock held = lock();
    {
        const FileLockGuard guard = take(held, FileLock::SHARED);
        EXPECT_EQ(refusal(held, FileLock::EXCLUSIVE), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
    }
    {
        const FileLockGuard guard = take(held, FileLock::EXCLUSIVE);
        EXPECT_EQ(refusal(held, FileLock::SHARED), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
        EXPECT_EQ(refusal(held, FileLock::EXCLUSIVE), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
    }
    const LogLine exclusive{16, "FileLockGuard",
                            "Cannot lock " + path + ": this thread holds it exclusively"};
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "FileLockGuard",
                                    "Cannot lock " + path +
                                        ": this thread holds it shared and would wait for itself"},
                            exclusive, exclusive));
    EXPECT_NO_THROW(take(held, FileLock::EXCLUSIVE));
}

TEST_F(FileLockTest, OuterHoldOutlivesAnInnerOne)
{
    const CapturedLog log;
    const FileLock held = lock();
    const FileLockGuard outer = take(held, FileLock::SHARED);
    {
        const FileLockGuard inner = take(held, FileLock::SHARED);
    }
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    EXPECT_EQ(refusal(held, FileLock::EXCLUSIVE), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
}

TEST_F(FileLockTest, OneThreadCanHoldManyLocks)
{
    std::vector<FileLock> locks;
    std::vector<std::unique_ptr<FileLockGuard>> guards;
    for (int i = 0; i < 40; ++i) {
        const std::string name = directory.path("lock" + std::to_string(i));
        writeFile(name, "");
        locks.push_back(FileLockManager::instance().getLock(name));
        for (int depth = 0; depth < 2; ++depth) {
            guards.push_back(std::make_unique<FileLockGuard>(locks.back(), FileLock::SHARED, AT_ONCE,
                                                             FileLock::DEFAULT_INTERVAL));
        }
    }
    for (const FileLock& held : locks) {
        inAnotherThread([&] { EXPECT_THROW(take(held, FileLock::EXCLUSIVE), FileLockTimeout); });
    }
    guards.clear();
    for (const FileLock& released : locks) {
        EXPECT_NO_THROW(take(released, FileLock::EXCLUSIVE));
    }
}

TEST_F(FileLockTest, OtherLockTypesAndTimeoutsAreRefused)
{
    const CapturedLog log;
    const FileLock held = lock();
    EXPECT_EQ(refusal(held, 2, AT_ONCE), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
    EXPECT_EQ(refusal(held, -1, AT_ONCE), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
    EXPECT_EQ(refusal(held, FileLock::SHARED, -2), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
    const LogLine type{16, "FileLockGuard", "Cannot lock " + path + ": the lock type is neither 0 nor 1"};
    const LogLine timeout{16, "FileLockGuard", "Cannot lock " + path + ": the timeout is below -1"};
    EXPECT_THAT(log.lines(), ElementsAre(type, type, timeout));
}

TEST_F(FileLockTest, AnyRetryIntervalWillDo)
{
    const FileLock held = lock();
    LockHolder other(path, "exclusive", AT_ONCE);
    ASSERT_EQ(other.outcome(), "held");
    for (const ACE_Time_Value& interval :
         {ACE_Time_Value::zero, ACE_Time_Value(-1), ACE_Time_Value::max_time, ACE_Time_Value(3600)}) {
        EXPECT_THROW(FileLockGuard(held, FileLock::SHARED, 20, interval), FileLockTimeout);
    }
}

TEST_F(FileLockTest, HandlesOfOneNameShareOneDescriptor)
{
    const FileLock one = lock();
    const FileLock copy = one;
    const FileLock another = lock();
    EXPECT_EQ(another.name(), path);
    EXPECT_THAT(descriptorsOf(path), IsEmpty());
    for (const FileLock* handle : {&one, &copy, &another}) {
        const FileLockGuard guard = take(*handle, FileLock::SHARED);
        EXPECT_EQ(descriptorsOf(path).size(), 1U);
    }
}

TEST_F(FileLockTest, DescriptorIsClosedWithTheLastHandle)
{
    std::optional<FileLock> one = lock();
    std::optional<FileLock> another = one;
    take(*one, FileLock::SHARED);
    take(*one, FileLock::EXCLUSIVE);
    one.reset();
    EXPECT_EQ(descriptorsOf(path).size(), 1U);
    another.reset();
    EXPECT_THAT(descriptorsOf(path), IsEmpty());
}

TEST_F(FileLockTest, TwoNamesOfOneFileExcludeEachOther)
{
    std::filesystem::create_symlink(path, directory.path("alias"));
    const FileLock held = lock();
    const FileLock alias = FileLockManager::instance().getLock(directory.path("alias"));
    {
        const FileLockGuard guard = take(held, FileLock::SHARED);
        EXPECT_NO_THROW(take(alias, FileLock::SHARED));
        EXPECT_THROW(take(alias, FileLock::EXCLUSIVE), FileLockTimeout);
    }
    const FileLockGuard guard = take(held, FileLock::EXCLUSIVE);
    EXPECT_THROW(take(alias, FileLock::SHARED), FileLockTimeout);
}

TEST_F(FileLockTest, ReadersAndWritersOfManyThreadsNeverMeet)
{
    const FileLock held = lock();
    std::atomic<int> readers{0};
    std::atomic<int> writers{0};
    std::atomic<int> meetings{0};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                const bool writes = t == 0 && i % 20 == 0;
                const FileLockGuard guard =
                    take(held, writes ? FileLock::EXCLUSIVE : FileLock::SHARED, FileLock::WAIT_FOREVER);
                std::atomic<int>& mine = writes ? writers : readers;
                ++mine;
                meetings += writers > 1 || (writers > 0 && readers > 0) ? 1 : 0;
                --mine;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(meetings, 0);
}

/// Somebody is always inside: without the gate no writer would ever be.
TEST_F(FileLockTest, ReadersThatTryBeforeTheyWaitLetWritersIn)
{
    const FileLock held = lock();
    std::atomic<bool> stop{false};
    const auto read = [&held](int timeout) {
        const FileLockGuard guard = take(held, FileLock::SHARED, timeout);
        std::this_thread::sleep_for(milliseconds(1));
    };
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (int t = 0; t < 4; ++t) {
        readers.emplace_back([&] {
            while (!stop) {
                try {
                    read(AT_ONCE);
                } catch (const FileLockTimeout&) {
                    read(FileLock::WAIT_FOREVER);
                }
            }
        });
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_NO_THROW(take(held, FileLock::EXCLUSIVE, 10'000));
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
}

TEST_F(FileLockTest, ThreadsGetTheLockWhileItsFileIsReplacedAllTheTime)
{
    const FileLock held = lock();
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (const int type : {FileLock::SHARED, FileLock::SHARED, FileLock::SHARED, FileLock::EXCLUSIVE}) {
        threads.emplace_back([&, type] {
            while (!stop) {
                failures += refusal(held, type, FileLock::WAIT_FOREVER) != 0 ? 1 : 0;
            }
        });
    }
    for (int i = 0; i < 300; ++i) {
        writeFile(path + ".new", "");
        std::filesystem::rename(path + ".new", path);
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
}

TEST_F(FileLockTest, HandleThatIsAssignedIsOfTheOtherLock)
{
    FileLock assigned = FileLockManager::instance().getLock(directory.path("other.json"));
    assigned = lock();
    EXPECT_EQ(assigned.name(), path);
    const FileLockGuard guard = take(assigned, FileLock::SHARED);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
}

TEST_F(FileLockTest, OtherHoldersOfTheKernelLockHaveLeftWhenTheyReleaseIt)
{
    EXPECT_TRUE(FileLock::OtherHolders().haveLeft()) << "nobody";
    const FileLock held = lock();
    std::promise<void> taken;
    std::promise<void> released;
    std::thread holder([&] {
        const FileLockGuard guard = take(held, FileLock::SHARED);
        taken.set_value();
        released.get_future().wait();
    });
    taken.get_future().wait();
    FileLock::OtherHolders others = held.otherHolders();
    const FileLock::OtherHolders moved = std::move(others);
    EXPECT_FALSE(moved.haveLeft());
    released.set_value();
    holder.join();
    EXPECT_TRUE(moved.haveLeft());
}

} // namespace
} // namespace keepsafe_test
