// What the lock does when the system refuses it something: it never lets in anybody who must stay out.

#include <cerrno>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/lock_state.h>
#include <keepsafe/platform/status/ExplainedFailure.h>

#include "LockFile.h"
#include "ReaderSlots.h"
#include "RefusedCall.h"
#include "SlotBarrier.h"
#include "State.h"
#include "WriterAttempt.h"
#include "enter_soon.h"
#include "random_number.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

namespace fs = std::filesystem;
using keepsafe_test::RefusedCall;

class RefusedCallsTest : public testing::Test {
protected:
    RefusedCallsTest()
    {
        keepsafe_test::writeFile(path, "");
        settings.pathCheckInterval = std::chrono::milliseconds(0);
        settings.registrationRetry = std::chrono::milliseconds(0);
        settings.newPageWait = std::chrono::milliseconds(0);
    }
    void makePage()
    {
        EXPECT_TRUE(barrier.raise());
        barrier.confirm();
        EXPECT_TRUE(barrier.isInForce());
        barrier.lower();
    }
    /// What the error says when the barrier cannot be raised.
    [[nodiscard]] std::string failureOfRaise()
    {
        return keepsafe_test::thrownBy<LockFileError>([this] { static_cast<void>(barrier.raise()); }).what();
    }

    const keepsafe_test::TempDir directory;
    const std::string path = directory.path("lock");
    const std::string folder = SlotFolder::pathFor(path);
    const std::string control = folder + '/' + SlotFolder::CONTROL;
    LockSettings settings;
    SlotBarrier barrier{path, settings};
};

TEST_F(RefusedCallsTest, NumberIsOfTheTimeAndTheProcessWhereTheSystemHasNoRandomOnes)
{
    const RefusedCall refused("getrandom", ENOSYS);
    EXPECT_EQ(randomNumber() & 0xFFFFU, static_cast<std::uint64_t>(getpid()) & 0xFFFFU);
    EXPECT_TRUE(refused.hasCome());
}

TEST_F(RefusedCallsTest, InterruptedCallsAreRepeated)
{
    {
        const RefusedCall refused("getrandom", EINTR);
        EXPECT_NE(randomNumber(), randomNumber());
        EXPECT_TRUE(refused.hasCome());
    }
    LockFile file;
    {
        const RefusedCall refused("open", EINTR);
        file.open(path, LockFile::Access::Read, false);
        EXPECT_TRUE(refused.hasCome());
    }
    const RefusedCall refused("fcntl", EINTR);
    EXPECT_EQ(file.tryShareData(), LockFile::Outcome::Done);
    EXPECT_TRUE(refused.hasCome());
}

TEST_F(RefusedCallsTest, LockThatIsRefusedIsNotTaken)
{
    LockFile file;
    file.open(path, LockFile::Access::Read, false);
    for (const auto& [error, outcome] :
         {std::pair{EACCES, LockFile::Outcome::Busy}, std::pair{EAGAIN, LockFile::Outcome::Busy},
          std::pair{ENOLCK, LockFile::Outcome::Failed}}) {
        const RefusedCall refused("fcntl", error);
        EXPECT_EQ(file.tryShareData(), outcome);
    }
}

TEST_F(RefusedCallsTest, LockFileThatCannotBeLookedAtIsNotOpened)
{
    LockFile file;
    const RefusedCall refused("fstat", EIO);
    EXPECT_THROW(file.open(path, LockFile::Access::Read, false), LockFileError);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(RefusedCallsTest, PageIsMadeWholeOrNotAtAll)
{
    const std::vector<std::pair<std::string, int>> calls{
        {"mkdir", 1}, {"rename", 1},    {"fchmod", 1}, {"fchmod", 2}, {"fstat", 1},
        {"fstat", 2}, {"fallocate", 1}, {"mmap", 1},   {"linkat", 1}, {"fstat", 3}};
    for (const auto& [function, number] : calls) {
        SCOPED_TRACE(function + ' ' + std::to_string(number));
        fs::remove_all(folder);
        {
            const RefusedCall refused(function, EPERM, number);
            EXPECT_TRUE(barrier.raise()) << "readers cannot have slots";
            EXPECT_TRUE(refused.hasCome());
        }
        EXPECT_FALSE(barrier.isInForce());
        EXPECT_FALSE(fs::exists(control));
        makePage();
    }
}

TEST_F(RefusedCallsTest, PageIsMadeWhereItsOwnerCannotBeGivenToIt)
{
    const RefusedCall refused("fchown", EPERM);
    makePage();
    EXPECT_TRUE(refused.hasCome());
}

TEST_F(RefusedCallsTest, NobodyHasSlotsOnAnUnknownFileSystem)
{
    makePage();
    {
        const RefusedCall refused("fstatfs", EIO);
        barrier.raiseEarly();
        EXPECT_FALSE(barrier.isRaised());
    }
    {
        const RefusedCall refused("fstatfs", EIO);
        EXPECT_EQ(fileLockState(path).slots.registration, ReaderSlotsState::Registration::OtherFileSystem);
    }
    const RefusedCall refused("fstatfs", EIO);
    EXPECT_TRUE(barrier.raise());
    EXPECT_FALSE(barrier.isInForce());
    EXPECT_TRUE(barrier.isClear());
}

TEST_F(RefusedCallsTest, BarrierThatCannotBeRaisedIsAnErrorThatNamesTheFile)
{
    makePage();
    {
        const RefusedCall refused("open folder", EMFILE);
        EXPECT_EQ(failureOfRaise(), "cannot open " + folder + ": Too many open files");
    }
    {
        const RefusedCall refused("open folder", EMFILE, 2);
        EXPECT_EQ(failureOfRaise(), "cannot open " + folder + ": Too many open files");
    }
    {
        const RefusedCall refused("mmap", ENOMEM);
        EXPECT_EQ(failureOfRaise(), "cannot map " + control + ": Cannot allocate memory");
    }
    {
        const RefusedCall refused("readdir", EIO);
        EXPECT_EQ(failureOfRaise(), "cannot list the readers' slots: Input/output error");
    }
    keepsafe_test::writeFile(control, "damaged");
    const RefusedCall refused("unlinkat", EPERM);
    EXPECT_EQ(failureOfRaise(), "cannot remove the damaged " + control + ": Operation not permitted");
}

TEST_F(RefusedCallsTest, ReadersThatCannotBeLookedAtAreAnError)
{
    makePage();
    keepsafe_test::writeFile(folder + "/reader-1", "");
    EXPECT_TRUE(barrier.raise());
    for (const auto& [function, message] : {std::pair{"open folder", "cannot open " + folder},
                                            std::pair{"openat", "cannot read " + folder + "/reader-1"}}) {
        const RefusedCall refused(function, EMFILE);
        EXPECT_EQ(
            keepsafe_test::thrownBy<LockFileError>([this] { static_cast<void>(barrier.isClear()); }).what(),
            message + ": Too many open files");
    }
}

TEST_F(RefusedCallsTest, BarrierIsNotInForceWhenTheFolderOrThePageIsRemovedJustNow)
{
    for (const std::string& removed : {folder, control}) {
        makePage();
        const RefusedCall meanwhile("open folder", 2, [&] { fs::remove_all(removed); });
        EXPECT_FALSE(barrier.raise());
        EXPECT_TRUE(meanwhile.hasCome());
        EXPECT_FALSE(barrier.isInForce());
    }
}

TEST_F(RefusedCallsTest, WriterRaisesTheBarrierAgainWhenTheFolderIsRemovedJustNow)
{
    makePage();
    settings.gate = false; // with it, the barrier is raised early
    LockFile file;
    WriterAttempt attempt(file, barrier, path, false, settings);
    Backoff backoff(std::chrono::milliseconds(1));
    const RefusedCall meanwhile("open folder", 2, [this] { fs::remove_all(folder); });
    EXPECT_TRUE(attempt.run(Deadline(-1), backoff));
    EXPECT_TRUE(meanwhile.hasCome());
    EXPECT_TRUE(barrier.isInForce());
}

TEST_F(RefusedCallsTest, ReaderWithoutAWholeFileHasNoSlot)
{
    makePage();
    const std::vector<std::pair<std::string, int>> calls{{"fstat", 1},     {"fstat", 2},  {"fstat", 3},
                                                         {"fstat", 4},     {"fchmod", 1}, {"linkat", 1},
                                                         {"fallocate", 1}, {"fcntl", 1},  {"fcntl", 2}};
    for (const auto& [function, number] : calls) {
        SCOPED_TRACE(function + ' ' + std::to_string(number));
        ReaderSlots readers(path, settings);
        {
            const RefusedCall refused(function, EACCES, number);
            EXPECT_EQ(readers.tryEnter().slot, nullptr);
            EXPECT_TRUE(refused.hasCome());
        }
        EXPECT_TRUE(SlotFolder(folder).readers().empty());
        ReaderSlots::leave(*enterSoon(readers).slot);
    }
}

TEST_F(RefusedCallsTest, StateOfALockThatCannotBeAskedForIsAnError)
{
    const RefusedCall refused("fcntl", ENOLCK);
    const auto failure =
        keepsafe_test::thrownBy<ExplainedFailure>([this] { static_cast<void>(fileLockState(path)); });
    EXPECT_EQ(failure.reason(), path + ": No locks available");
}

TEST_F(RefusedCallsTest, ReadersIgnoreAShutGateWhereTheSettingsSaySo)
{
    settings.slots = false;
    LockFile writer;
    writer.open(path, LockFile::Access::ReadWrite, false);
    ASSERT_EQ(writer.tryLockGate(), LockFile::Outcome::Done);
    for (const bool gate : {false, true}) {
        settings.gate = gate;
        const auto state = [this] {
            const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
            return FileLock::State::create(path, settings);
        }();
        const auto lockOften = [&state] {
            for (int i = 0; i < 1000; ++i) { // not each acquisition asks for the gate
                bool hasWaited = false;
                state->lockShared(FileLock::MissingFile::IsAnError, {0, std::chrono::milliseconds(1)}, false,
                                  hasWaited);
                state->unlockShared();
            }
        };
        if (gate) {
            EXPECT_THROW(lockOften(), FileLockTimeout);
        } else {
            EXPECT_NO_THROW(lockOften());
        }
    }
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
