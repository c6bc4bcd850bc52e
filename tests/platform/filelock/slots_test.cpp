// Readers that take the lock by slots: what they promise is what the kernel lock promises.

#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/status_codes.h>

#include "LockHolder.h"
#include "lock_descriptors.h"
#include "slots_support.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SlotsTest : public testing::Test {
protected:
    SlotsTest() { writeFile(path, ""); }

    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    const FileLock lock = FileLockManager::instance().getLock(path);
};

TEST_F(SlotsTest, ReadersAloneMakeNothing)
{
    take(lock, FileLock::SHARED);
    EXPECT_FALSE(fs::exists(folderOf(path)));
}

TEST_F(SlotsTest, WriterMakesThePageAndThenReadersHaveSlots)
{
    makeControlPage(lock);
    EXPECT_EQ(fs::file_size(controlOf(path)), 4096U);
    EXPECT_TRUE(getsSlot(lock));
    EXPECT_THAT(slotFilesOf(path), SizeIs(1));
}

/// As above, with a slot for this process.
class HeldBySlotTest : public SlotsTest {
protected:
    HeldBySlotTest()
    {
        makeControlPage(lock);
        EXPECT_TRUE(getsSlot(lock));
    }
};

TEST_F(HeldBySlotTest, KeepsWritersOutAndLetsReadersIn)
{
    const FileLockGuard guard = take(lock, FileLock::SHARED);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    EXPECT_EQ(tryInOtherProcess(path, "shared"), "held");
    inAnotherThread([&] { EXPECT_THROW(take(lock, FileLock::EXCLUSIVE), FileLockTimeout); });
}

TEST_F(HeldBySlotTest, OpensNoDescriptor)
{
    const FileLock fresh = FileLockManager::instance().getLock(path);
    const FileLockGuard guard = take(fresh, FileLock::SHARED);
    for (const std::string& file : {controlOf(path), slotFilesOf(path).front(), folderOf(path)}) {
        EXPECT_THAT(descriptorsOf(file), IsEmpty());
    }
}

TEST_F(HeldBySlotTest, WriterKeepsReadersWithSlotsOut)
{
    LockHolder writer(path, "exclusive", AT_ONCE);
    ASSERT_EQ(writer.outcome(), "held");
    EXPECT_THROW(take(lock, FileLock::SHARED), FileLockTimeout);
    writer.release();
    EXPECT_TRUE(getsSlot(lock));
}

TEST_F(HeldBySlotTest, KilledWriterLeavesTheLockFreeAndTheNextOneTheSlots)
{
    LockHolder writer(path, "exclusive", AT_ONCE);
    ASSERT_EQ(writer.outcome(), "held");
    writer.kill();
    EXPECT_EQ(take(lock, FileLock::SHARED).writes(), 0U) << "nobody has let readers in to the slots again";
    makeControlPage(lock);
    EXPECT_TRUE(getsSlot(lock));
}

TEST_F(HeldBySlotTest, NumberOfWritesIsTheSameUntilAWriterHasHeldTheLock)
{
    const std::uint64_t before = writesOf(lock);
    EXPECT_EQ(writesOf(lock), before);
    makeControlPage(lock);
    const std::uint64_t after = writesOf(lock);
    EXPECT_NE(after, before);
    EXPECT_NE(after, 0U);
}

TEST_F(HeldBySlotTest, NestedHoldTellsTheNumberOfTheOuterOne)
{
    const std::uint64_t writes = writesOf(lock);
    const FileLockGuard outer = take(lock, FileLock::SHARED);
    LockHolder writer(path, "exclusive", FileLock::WAIT_FOREVER);
    inAnotherThread([&] { EXPECT_TRUE(eventually([&] { return refusal(lock, FileLock::SHARED) != 0; })); });
    EXPECT_TRUE(eventually([&] { return take(lock, FileLock::SHARED).writes() >= writes; }));
}

TEST_F(HeldBySlotTest, SharedInsideSharedSucceedsWhileAWriterWaits)
{
    const FileLockGuard outer = take(lock, FileLock::SHARED);
    LockHolder writer(path, "exclusive", FileLock::WAIT_FOREVER);
    int newcomersRefused = 0;
    EXPECT_TRUE(eventually([&] {
        inAnotherThread([&] { newcomersRefused += refusal(lock, FileLock::SHARED) != 0 ? 1 : 0; });
        EXPECT_EQ(refusal(lock, FileLock::SHARED), 0);
        return newcomersRefused >= 20;
    })) << "no writer shut the gate, so nothing was shown";
}

TEST_F(HeldBySlotTest, OuterHoldOutlivesAnInnerOne)
{
    const FileLockGuard outer = take(lock, FileLock::SHARED);
    take(lock, FileLock::SHARED);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
}

TEST_F(HeldBySlotTest, ExclusiveInsideSharedIsRefusedAtOnce)
{
    const CapturedLog log;
    const FileLockGuard guard = take(lock, FileLock::SHARED);
    EXPECT_EQ(refusal(lock, FileLock::EXCLUSIVE), Tessara::Keepsafe::Status::INVALID_ARGUMENT);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "FileLockGuard",
                                    "Cannot lock " + path +
                                        ": this thread holds it shared and would wait for itself"}));
}

TEST_F(HeldBySlotTest, FileOfALivingProcessStaysAndThatOfAKilledOneGoesWithTheNextWriter)
{
    LockHolder reader(path, "shared", AT_ONCE);
    ASSERT_EQ(reader.outcome(), "held");
    ASSERT_THAT(slotFilesOf(path), SizeIs(2));
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    EXPECT_THAT(slotFilesOf(path), SizeIs(2));
    reader.kill();
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
    EXPECT_THAT(slotFilesOf(path), SizeIs(1));
    EXPECT_TRUE(getsSlot(lock));
}

TEST_F(HeldBySlotTest, FileGoesWithTheLastHandle)
{
    LockHolder reader(path, "shared", AT_ONCE);
    ASSERT_EQ(reader.outcome(), "held");
    reader.release();
    EXPECT_THAT(slotFilesOf(path), SizeIs(1));
}

TEST_F(HeldBySlotTest, StoppedReaderDelaysAWriterAndNobodyElse)
{
    LockHolder reader(path, "shared", AT_ONCE);
    ASSERT_EQ(reader.outcome(), "held");
    reader.program().signal(SIGSTOP);
    LockHolder writer(path, "exclusive", FileLock::WAIT_FOREVER);
    for (int i = 0; i < 100; ++i) {
        EXPECT_NO_THROW(take(lock, FileLock::SHARED, 10000));
    }
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    reader.program().signal(SIGCONT);
    reader.release();
    EXPECT_EQ(writer.outcome(), "held");
}

TEST_F(HeldBySlotTest, StoppedWriterThatWaitsStopsNobody)
{
    std::optional<FileLockGuard> guard;
    guard.emplace(lock, FileLock::SHARED, AT_ONCE, FileLock::DEFAULT_INTERVAL);
    LockHolder writer(path, "exclusive", FileLock::WAIT_FOREVER);
    inAnotherThread([&] { EXPECT_TRUE(eventually([&] { return refusal(lock, FileLock::SHARED) != 0; })); });
    writer.program().signal(SIGSTOP);
    inAnotherThread([&] { EXPECT_NO_THROW(take(lock, FileLock::SHARED, 10000)); });
    guard.reset();
    EXPECT_NO_THROW(take(lock, FileLock::EXCLUSIVE, 10000));
    writer.program().signal(SIGCONT);
    EXPECT_EQ(writer.outcome(), "held");
}

TEST_F(HeldBySlotTest, HostProgramThatClosesAllDescriptorsTakesNothingAway)
{
    const Process process = Process::fork([&] {
        if (!getsSlot(lock)) {
            return 1;
        }
        const FileLockGuard guard = take(lock, FileLock::SHARED);
        const std::size_t files = slotFilesOf(path).size();
        close_range(3, ~0U, 0);
        const bool kept = tryInOtherProcess(path, "exclusive") == "timeout";
        return kept && slotFilesOf(path).size() == files ? 0 : 2;
    });
    EXPECT_EQ(const_cast<Process&>(process).wait().exitStatus, 0);
}

TEST_F(HeldBySlotTest, OneProcessHasSlotsForEachOfItsLocks)
{
    const std::string otherPath = directory.path("other.json");
    writeFile(otherPath, "");
    const FileLock other = FileLockManager::instance().getLock(otherPath);
    makeControlPage(other);
    ASSERT_TRUE(getsSlot(other));
    const FileLockGuard guard = take(lock, FileLock::SHARED);
    EXPECT_NO_THROW(take(other, FileLock::EXCLUSIVE));
    EXPECT_EQ(tryInOtherProcess(otherPath, "exclusive"), "held");
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
}

/// Takes the lock when its thread ends.
struct LastUse {
    const FileLock* lock = nullptr;
    ~LastUse()
    {
        if (lock != nullptr) {
            EXPECT_NO_THROW(take(*lock, FileLock::SHARED));
            EXPECT_EQ(tryInOtherProcess(lock->name(), "exclusive"), "held");
        }
    }
};

TEST_F(HeldBySlotTest, ThreadTakesTheLockOnItsWayOut)
{
    inAnotherThread([&] {
        static thread_local LastUse before; // made before the thread has a number, so it goes after that
        before.lock = &lock;
        take(lock, FileLock::SHARED);
    });
}

/// Holds the lock until its thread ends, and asks something before it releases it.
struct LastHold {
    std::unique_ptr<FileLockGuard> guard;
    std::function<void()> ask;
    ~LastHold()
    {
        if (ask) {
            ask();
        }
    }
};

TEST_F(HeldBySlotTest, HoldThatEndsWithItsThreadIsNotTakenForThatOfANewThread)
{
    const CapturedLog log;
    inAnotherThread([&] {
        static thread_local LastHold hold; // made before the thread has a number, so it goes after that
        hold.ask = [&] {
            inAnotherThread([&] { EXPECT_THROW(take(lock, FileLock::EXCLUSIVE), FileLockTimeout); });
        };
        hold.guard =
            std::make_unique<FileLockGuard>(lock, FileLock::SHARED, AT_ONCE, FileLock::DEFAULT_INTERVAL);
    });
    EXPECT_NO_THROW(take(lock, FileLock::EXCLUSIVE));
}

TEST_F(HeldBySlotTest, OtherHoldersAreThoseOfOtherThreadsUntilTheyHaveLeft)
{
    EXPECT_TRUE(lock.otherHolders().haveLeft()) << "nobody";
    const FileLockGuard own = take(lock, FileLock::SHARED);
    EXPECT_TRUE(lock.otherHolders().haveLeft()) << "this thread's latest acquisition does not count";
    FileLock::OtherHolders others;
    {
        const FileLockGuard nested = take(lock, FileLock::SHARED);
        others = lock.otherHolders();
        EXPECT_FALSE(others.haveLeft()) << "the outer one counts";
    }
    EXPECT_FALSE(others.haveLeft());
    inAnotherThread([&] {
        const FileLockGuard guard = take(lock, FileLock::SHARED);
        EXPECT_FALSE(lock.otherHolders().haveLeft());
    });
}

TEST_F(HeldBySlotTest, OtherHoldersHaveLeftAlsoWhenTheyHaveComeAgain)
{
    auto first = std::make_unique<FileLockGuard>(lock, FileLock::SHARED, AT_ONCE, FileLock::DEFAULT_INTERVAL);
    FileLock::OtherHolders others;
    inAnotherThread([&] { others = lock.otherHolders(); });
    EXPECT_FALSE(others.haveLeft());
    first.reset();
    const FileLockGuard second = take(lock, FileLock::SHARED);
    EXPECT_TRUE(others.haveLeft());
}

} // namespace
} // namespace keepsafe_test
