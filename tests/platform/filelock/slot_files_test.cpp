// The folder of the readers' slots: its permissions, and users without rights.

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/status/status_codes.h>

#include "SlotFilesTest.h"
#include "support/Process.h"

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

TEST_F(SlotFilesOfOthersTest, UmaskThatTakesTheOwnersPermissionsHasNoInfluence)
{
    fs::permissions(directory.path(), fs::perms(01777));
    fs::permissions(path, fs::perms(0666));
    EXPECT_TRUE(holdsForNobody([&] {
        umask(0777);
        makeControlPage(lock);
        return getsSlot(lock);
    }));
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

} // namespace
} // namespace keepsafe_test
