// The folder of the readers' slots: its permissions, users without rights, foreign and damaged files.

#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/status_codes.h>

#include "LockHolder.h"
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

constexpr uid_t SOMEBODY = 1234;
constexpr gid_t SOME_GROUP = 4321;
constexpr uid_t NOBODY = 65534;

struct stat statusOf(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t permissionsOf(const std::string& path) { return statusOf(path).st_mode & 07777; }

/// Runs the statement as a user without rights, and returns whether it held there.
bool holdsForNobody(const std::function<bool()>& statement)
{
    return holdsInChild([&] {
        return setgroups(0, nullptr) == 0 && setgid(NOBODY) == 0 && setuid(NOBODY) == 0 && statement();
    });
}

class SlotFilesTest : public testing::Test {
protected:
    SlotFilesTest()
    {
        fs::permissions(directory.path(), fs::perms(0755));
        writeFile(path, "");
    }
    [[nodiscard]] LogLine cannotLock(const std::string& reason) const
    {
        return {16, "FileLockGuard", "Cannot lock " + path + ": " + reason};
    }
    /// The lock does what it should, whether by slots or not.
    void expectCorrectExclusion() const
    {
        {
            const FileLockGuard guard = take(lock, FileLock::SHARED, FileLock::WAIT_FOREVER);
            EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
        }
        {
            const FileLockGuard guard = take(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER);
            EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
        }
        EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
    }

    const TempDir directory;
    const std::string path = directory.path("lock");
    const FileLock lock = FileLockManager::instance().getLock(path);
};

TEST_F(SlotFilesTest, FolderHasThePermissionsOfTheOneAroundItAndThePageThoseOfTheLockFile)
{
    for (const mode_t folder : {0755U, 0700U, 0775U, 01777U}) {
        for (const mode_t file : {0644U, 0600U, 0664U, 0666U}) {
            fs::remove_all(folderOf(path));
            ASSERT_EQ(chmod(directory.path().c_str(), folder), 0);
            ASSERT_EQ(chmod(path.c_str(), file), 0);
            makeControlPage(lock);
            EXPECT_EQ(permissionsOf(folderOf(path)), folder);
            EXPECT_EQ(permissionsOf(controlOf(path)), file);
        }
    }
}

TEST_F(SlotFilesTest, PageIsNeverAProgram)
{
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    makeControlPage(lock);
    EXPECT_EQ(permissionsOf(controlOf(path)), 0644U);
}

TEST_F(SlotFilesTest, UmaskHasNoInfluence)
{
    const mode_t before = umask(0777);
    makeControlPage(lock);
    EXPECT_TRUE(getsSlot(lock));
    umask(before);
    EXPECT_EQ(permissionsOf(folderOf(path)), 0755U);
    EXPECT_EQ(permissionsOf(controlOf(path)), 0644U);
    ASSERT_THAT(slotFilesOf(path), SizeIs(1));
    EXPECT_EQ(permissionsOf(slotFilesOf(path).front()), 0644U);
}

/// What only root can set up.
class SlotFilesOfOthersTest : public SlotFilesTest {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root";
        }
    }
};

TEST_F(SlotFilesOfOthersTest, FolderAndPageBelongToWhomTheirModelsBelongTo)
{
    ASSERT_EQ(chown(directory.path().c_str(), SOMEBODY, SOME_GROUP), 0);
    ASSERT_EQ(chown(path.c_str(), SOMEBODY + 1, SOME_GROUP + 1), 0);
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    makeControlPage(lock);
    EXPECT_EQ(statusOf(folderOf(path)).st_uid, SOMEBODY);
    EXPECT_EQ(statusOf(folderOf(path)).st_gid, SOME_GROUP);
    EXPECT_EQ(statusOf(controlOf(path)).st_uid, SOMEBODY + 1);
    EXPECT_EQ(statusOf(controlOf(path)).st_gid, SOME_GROUP + 1);
    EXPECT_EQ(permissionsOf(controlOf(path)), 0640U);
}

TEST_F(SlotFilesOfOthersTest, GroupsRightsAreLeftOutWhereTheGroupCannotBeGiven)
{
    ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
    ASSERT_EQ(chown(path.c_str(), 0, SOME_GROUP), 0);
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    EXPECT_TRUE(holdsForNobody([&] {
        makeControlPage(lock);
        return true;
    }));
    EXPECT_EQ(statusOf(controlOf(path)).st_gid, NOBODY);
    EXPECT_EQ(permissionsOf(controlOf(path)), 0606U);
}

TEST_F(SlotFilesOfOthersTest, UserWhoMayMakeNoFilesReadsByTheKernelLockAndKeepsWritersOut)
{
    makeControlPage(lock);
    LockHolder reader(path, "shared", AT_ONCE, LockHolder::Options::Unprivileged);
    ASSERT_EQ(reader.outcome(), "held");
    EXPECT_THAT(slotFilesOf(path), IsEmpty());
    EXPECT_THROW(take(lock, FileLock::EXCLUSIVE), FileLockTimeout);
    reader.release();
    EXPECT_NO_THROW(take(lock, FileLock::EXCLUSIVE));
}

TEST_F(SlotFilesOfOthersTest, UserWhoMayMakeFilesHasSlotsAtWhichWritersOfOtherUsersLook)
{
    fs::permissions(directory.path(), fs::perms(01777));
    makeControlPage(lock);
    LockHolder reader(path, "shared", AT_ONCE, LockHolder::Options::Unprivileged);
    ASSERT_EQ(reader.outcome(), "held");
    ASSERT_THAT(slotFilesOf(path), SizeIs(1));
    EXPECT_EQ(statusOf(slotFilesOf(path).front()).st_uid, NOBODY);
    EXPECT_THROW(take(lock, FileLock::EXCLUSIVE), FileLockTimeout);
    reader.kill();
    EXPECT_NO_THROW(take(lock, FileLock::EXCLUSIVE));
    EXPECT_THAT(slotFilesOf(path), IsEmpty());
}

TEST_F(SlotFilesOfOthersTest, UserWhoMayLockButNotWriteThePageIsRefused)
{
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    makeControlPage(lock);
    ASSERT_EQ(chmod(controlOf(path).c_str(), 0644), 0);
    EXPECT_TRUE(holdsForNobody([&] {
        const CapturedLog log;
        const auto unavailable = thrownBy<FileLockUnavailable>([&] { take(lock, FileLock::EXCLUSIVE); });
        return unavailable.status() == Tessara::Keepsafe::Status::CACHE_UNUSABLE &&
               log.lines() == std::vector<LogLine>{
                                  cannotLock("cannot write " + controlOf(path) + ": Permission denied")};
    }));
    expectCorrectExclusion();
}

TEST_F(SlotFilesTest, PageOfANewerVersionRefusesWritersAndLeavesReadersTheKernelLock)
{
    makeControlPage(lock);
    std::string page = readFile(controlOf(path));
    page[8] = 2; // the version, behind eight bytes that tell what the file is
    writeFile(controlOf(path), page);
    const CapturedLog log;
    EXPECT_EQ(thrownBy<FileLockUnavailable>([&] { take(lock, FileLock::EXCLUSIVE); }).status(),
              Tessara::Keepsafe::Status::CACHE_UNUSABLE);
    EXPECT_THAT(log.lines(), ElementsAre(cannotLock(controlOf(path) + " is of version 2")));
    EXPECT_EQ(readFile(controlOf(path)), page);
    const FileLockGuard guard = take(lock, FileLock::SHARED);
    EXPECT_EQ(guard.writes(), 0U);
    EXPECT_EQ(tryInOtherProcess(path, "shared"), "held");
    EXPECT_THAT(slotFilesOf(path), IsEmpty());
}

/// Something at the place of a file or folder of the lock that is none of its own.
struct Foreign {
    const char* name;
    void (*put)(const std::string& path);
};

void PrintTo(const Foreign& foreign, std::ostream* out) { *out << foreign.name; }

const Foreign FOREIGN[] = {
    {"link_to_a_file",
     [](const std::string& path) {
         const fs::path target = fs::path(path).parent_path() / "precious";
         writeFile(target, "precious");
         fs::create_symlink(target, path);
     }},
    {"link_to_a_folder",
     [](const std::string& path) {
         const fs::path target = fs::path(path).parent_path() / "folder";
         writeFile(target / "precious", "precious");
         fs::create_symlink(target, path);
     }},
    {"link_to_nothing", [](const std::string& path) { fs::create_symlink(path + ".nothing", path); }},
    {"fifo", [](const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0666), 0); }},
    {"file", [](const std::string& path) { writeFile(path, "precious"); }},
    {"folder", [](const std::string& path) { writeFile(path + "/precious", "precious"); }},
};

class ForeignFilesTest : public SlotFilesTest, public testing::WithParamInterface<Foreign> {
protected:
    ~ForeignFilesTest() override
    {
        EXPECT_EQ(precious(), preciousBefore_) << "somebody else's files were changed";
    }
    void putAt(const std::string& place)
    {
        GetParam().put(place);
        preciousBefore_ = precious();
    }

private:
    /// What lies in files that are not the lock's own.
    [[nodiscard]] std::vector<std::string> precious() const
    {
        std::vector<std::string> contents;
        for (const auto& entry : fs::recursive_directory_iterator(directory.path())) {
            if (entry.path().filename() == "precious") {
                contents.push_back(readFile(entry.path()));
            }
        }
        return contents;
    }

    std::vector<std::string> preciousBefore_;
};

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfTheFolder)
{
    putAt(folderOf(path));
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfTheFolderThatIsBeingMade)
{
    putAt(folderOf(path) + ".new");
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfThePage)
{
    makeControlPage(lock);
    fs::remove(controlOf(path));
    if (GetParam().name == std::string("file")) {
        GetParam().put(controlOf(path)); // a damaged page: see below
    } else {
        putAt(controlOf(path));
    }
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfAReadersFile)
{
    makeControlPage(lock);
    ASSERT_TRUE(getsSlot(lock));
    const std::string place = folderOf(path) + "/reader-0-0";
    if (GetParam().name == std::string("file")) {
        GetParam().put(place); // of a dead process, so it may go
    } else {
        putAt(place);
    }
    expectCorrectExclusion();
}

TEST_P(ForeignFilesTest, AreNotFollowedInPlaceOfThisProcesssFile)
{
    makeControlPage(lock);
    ASSERT_TRUE(getsSlot(lock));
    const std::string place = slotFilesOf(path).front();
    fs::remove(place);
    if (GetParam().name == std::string("file")) {
        GetParam().put(place);
    } else {
        putAt(place);
    }
    EXPECT_TRUE(makesAnotherFile(lock, place));
    expectCorrectExclusion();
}

INSTANTIATE_TEST_SUITE_P(All, ForeignFilesTest, testing::ValuesIn(FOREIGN),
                         [](const auto& foreign) { return std::string(foreign.param.name); });

/// Damage to the files while this process has a slot.
class DamagedSlotFilesTest : public SlotFilesTest {
protected:
    DamagedSlotFilesTest()
    {
        makeControlPage(lock);
        EXPECT_TRUE(getsSlot(lock));
        slotFile = slotFilesOf(path).front();
    }
    /// Whatever was damaged, the next writer makes whole, and readers come back to slots.
    void expectRecovery() const
    {
        expectCorrectExclusion();
        EXPECT_TRUE(getsSlot(lock));
        expectCorrectExclusion();
        EXPECT_EQ(fs::file_size(controlOf(path)), 4096U);
        EXPECT_THAT(slotFilesOf(path), SizeIs(1));
    }

    std::string slotFile;
};

TEST_F(DamagedSlotFilesTest, FolderThatWasRemovedIsMadeAnew)
{
    fs::remove_all(folderOf(path));
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
    EXPECT_TRUE(makesAnotherFile(lock, slotFile));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, PageThatWasRemovedIsMadeAnew)
{
    fs::remove(controlOf(path));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, PageThatWasCutShortIsReplacedAndKillsNobody)
{
    for (const unsigned size : {0U, 100U, 4095U}) {
        fs::resize_file(controlOf(path), size);
        expectRecovery();
    }
}

TEST_F(DamagedSlotFilesTest, PageThatIsTooLargeIsReplaced)
{
    fs::resize_file(controlOf(path), 8192);
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, PageOfForeignBytesIsReplaced)
{
    for (const char byte : {'\0', 'x', '\xFF'}) {
        writeFile(controlOf(path), std::string(4096, byte));
        expectRecovery();
    }
}

TEST_F(DamagedSlotFilesTest, FileThatWasRemovedIsMadeAnew)
{
    fs::remove(slotFile);
    EXPECT_TRUE(makesAnotherFile(lock, slotFile));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, WriterGetsInWhileAProcessWhoseFileWasRemovedDoesNothing)
{
    fs::remove(slotFile);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
}

TEST_F(DamagedSlotFilesTest, FileThatWasCutShortKeepsWritersOutUntilItsProcessHasReplacedIt)
{
    fs::resize_file(slotFile, 0);
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout") << "nobody can tell what the process does";
    EXPECT_TRUE(getsSlot(lock));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, ReaderWhoseFileWasCutShortInsideKeepsTheLock)
{
    {
        const FileLockGuard guard = take(lock, FileLock::SHARED);
        fs::resize_file(slotFile, 0);
        EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    }
    EXPECT_TRUE(getsSlot(lock));
    expectRecovery();
}

TEST_F(DamagedSlotFilesTest, WhatOthersWriteIntoASlotLetsNobodyInOrOut)
{
    {
        const CapturedLog log;
        const FileLockGuard guard = take(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER);
        std::string bytes = readFile(slotFile);
        std::fill(bytes.begin() + 64, bytes.end(), '\xFF'); // every slot raised; the header stays
        writeFile(slotFile, bytes);
        EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
        EXPECT_THROW(take(lock, FileLock::SHARED), EC_exception) << "this thread holds it exclusively";
    }
    expectCorrectExclusion();
}

} // namespace
} // namespace keepsafe_test
