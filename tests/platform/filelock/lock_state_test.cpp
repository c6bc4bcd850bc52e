#include <keepsafe/platform/filelock/lock_state.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/platform/status/ExplainedFailure.h>

#include "LockHolder.h"
#include "slots_support.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/thrown.h"

// How a lock is held, as a process sees it that does not take it.

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ExplainedFailure;
using Tessara::Keepsafe::Platform::FileLockState;
using Tessara::Keepsafe::Platform::fileLockState;
using Tessara::Keepsafe::Platform::ReaderSlotsState;
using testing::IsEmpty;
using testing::SizeIs;

class LockState : public testing::Test {
protected:
    LockState() { writeFile(path_, "document"); }

    [[nodiscard]] FileLockState state() const { return fileLockState(path_); }

    TempDir folder_;
    const std::string path_ = folder_.path("document.json");
};

TEST_F(LockState, OfALockThatNobodyHasEverTakenIsFreeWithoutSlots)
{
    const FileLockState free = state();
    EXPECT_EQ(free.kernel, FileLockState::Kernel::Free);
    EXPECT_FALSE(free.isGateShut);
    EXPECT_THAT(free.writers, IsEmpty());
    EXPECT_EQ(free.slots.control, ReaderSlotsState::Control::Missing);
    EXPECT_EQ(free.slots.registration, ReaderSlotsState::Registration::NothingToJoin);
    EXPECT_FALSE(std::filesystem::exists(folderOf(path_)));
}

TEST_F(LockState, NamesTheWriterAndTellsThatReadersAreKeptOut)
{
    LockHolder writer(path_, "exclusive", 0);
    ASSERT_EQ(writer.outcome(), "held");
    const FileLockState held = state();
    EXPECT_EQ(held.kernel, FileLockState::Kernel::Exclusive);
    EXPECT_TRUE(held.isGateShut);
    EXPECT_TRUE(held.slots.isWriterAnnounced);
    ASSERT_THAT(held.writers, SizeIs(1));
    EXPECT_EQ(readFile("/proc/" + std::to_string(held.writers.front()) + "/comm"), "filelock_holder\n");
    writer.release();
    EXPECT_EQ(state().kernel, FileLockState::Kernel::Free);
    EXPECT_FALSE(state().slots.isWriterAnnounced);
}

TEST_F(LockState, DoesNotTakeAWaitingWriterForTheHolder)
{
    LockHolder reader(path_, "shared", 0);
    ASSERT_EQ(reader.outcome(), "held");
    LockHolder writer(path_, "exclusive", FileLock::WAIT_FOREVER);
    EXPECT_TRUE(eventually([this] { return state().isGateShut; }));
    EXPECT_EQ(state().kernel, FileLockState::Kernel::Shared);
    EXPECT_THAT(state().writers, IsEmpty());
}

TEST_F(LockState, ShowsAWriterThatDiedInTheCountAlone)
{
    LockHolder writer(path_, "exclusive", 0);
    ASSERT_EQ(writer.outcome(), "held");
    writer.kill();
    const FileLockState left = state();
    EXPECT_EQ(left.kernel, FileLockState::Kernel::Free);
    EXPECT_TRUE(left.slots.isWriterAnnounced);
}

TEST_F(LockState, CountsTheSlotsOfOtherProcesses)
{
    const FileLock lock = FileLockManager::instance().getLock(path_);
    makeControlPage(lock);
    ASSERT_TRUE(getsSlot(lock));
    const ReaderSlotsState own = state().slots;
    EXPECT_EQ(own.control, ReaderSlotsState::Control::Sound);
    EXPECT_EQ(own.registration, ReaderSlotsState::Registration::Possible);
    EXPECT_EQ(own.processes, 1U);
    EXPECT_EQ(own.slots, 511U);
    EXPECT_GE(own.used, 1U);
    EXPECT_EQ(own.raised, 0U);
    EXPECT_TRUE(eventually([&] {
        const FileLockGuard inside(lock, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                   FileLock::DEFAULT_INTERVAL);
        return state().slots.raised == 1;
    }));
    writeFile(folderOf(path_) + "/reader-1-left", std::string(32768, '\0'));
    EXPECT_EQ(state().slots.leftOver, 1U);
}

TEST_F(LockState, ToldOfAControlPageThatIsNone)
{
    writeFile(controlOf(path_), "something else");
    EXPECT_EQ(state().slots.control, ReaderSlotsState::Control::Unusable);
    EXPECT_EQ(state().slots.registration, ReaderSlotsState::Registration::NothingToJoin);
}

TEST_F(LockState, ToldOfAFolderWithoutAControlPage)
{
    std::filesystem::create_directory(folderOf(path_));
    EXPECT_EQ(state().slots.control, ReaderSlotsState::Control::Missing);
    EXPECT_EQ(state().slots.registration, ReaderSlotsState::Registration::NothingToJoin);
}

TEST_F(LockState, ToldOfSomethingElseInPlaceOfTheFolderOrThePage)
{
    writeFile(folderOf(path_), "something else");
    EXPECT_EQ(state().slots.control, ReaderSlotsState::Control::Unusable);
    std::filesystem::remove(folderOf(path_));
    std::filesystem::create_directories(controlOf(path_));
    EXPECT_EQ(state().slots.control, ReaderSlotsState::Control::Unusable);
}

TEST_F(LockState, ToldOfAControlPageWhoseMagicVersionOrCountIsNone)
{
    makeControlPage(FileLockManager::instance().getLock(path_));
    const std::string sound = readFile(controlOf(path_));
    const auto withZerosAt = [&](std::size_t offset, std::size_t length) {
        std::string bytes = sound;
        writeFile(controlOf(path_), bytes.replace(offset, length, length, '\0'));
        return state().slots.control;
    };
    EXPECT_EQ(withZerosAt(0, 0), ReaderSlotsState::Control::Sound);
    EXPECT_EQ(withZerosAt(0, 1), ReaderSlotsState::Control::Unusable) << "magic";
    EXPECT_EQ(withZerosAt(8, 4), ReaderSlotsState::Control::Unusable) << "version";
    EXPECT_EQ(withZerosAt(64, 8), ReaderSlotsState::Control::Unusable) << "count";
}

TEST_F(LockState, CountsWhatCannotBeReadAsAReadersFile)
{
    const FileLock lock = FileLockManager::instance().getLock(path_);
    makeControlPage(lock);
    std::filesystem::create_directory(folderOf(path_) + "/reader-1-folder");
    EXPECT_EQ(state().slots.unreadable, 1U);
    ASSERT_TRUE(getsSlot(lock));
    EXPECT_EQ(state().slots.unreadable, 1U);
    for (const auto& file : slotFilesOf(path_)) {
        if (!std::filesystem::is_directory(file)) {
            writeFile(file, std::string(32768, 'x'));
            EXPECT_EQ(state().slots.unreadable, 2U) << "garbage in the file of a running process";
            std::filesystem::resize_file(file, 100);
        }
    }
    EXPECT_EQ(state().slots.unreadable, 2U);
    EXPECT_EQ(state().slots.processes, 0U);
}

TEST_F(LockState, TellsThatThisUserMayNotMakeAFile)
{
    makeControlPage(FileLockManager::instance().getLock(path_));
    std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(folderOf(path_), std::filesystem::perms(0555));
    EXPECT_TRUE(holdsInChild([this] {
        constexpr unsigned NOBODY = 65534;
        const bool isWithoutRights = geteuid() != 0 || (setgid(NOBODY) == 0 && setuid(NOBODY) == 0);
        return isWithoutRights && state().slots.control == ReaderSlotsState::Control::Sound &&
               state().slots.registration == ReaderSlotsState::Registration::NoPermission;
    }));
}

TEST_F(LockState, OfAFileThatIsMissingIsAnError)
{
    const std::string path = folder_.path("nothing");
    const auto failure = thrownBy<ExplainedFailure>([&] { static_cast<void>(fileLockState(path)); });
    EXPECT_EQ(failure.status(), 12);
    EXPECT_EQ(failure.reason(), path + ": No such file or directory");
}

} // namespace
} // namespace keepsafe_test
