// The file behind the lock: missing, of another kind, replaced, without rights.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "LockFileTest.h"

namespace keepsafe_test {
namespace {

namespace fs = std::filesystem;
using MissingFile = FileLock::MissingFile;

TEST_F(LockFileTest, ANewFileMayBeReadByThoseWhoMayReadTheDocumentBesideItWhateverTheUmask)
{
    const std::string document = directory.path("operation-cache.json");
    writeFile(document, "{}");
    for (const mode_t mask : {0U, 077U}) {
        for (const mode_t mode : {0644U, 0640U, 0600U, 0666U}) {
            fs::remove(path);
            ASSERT_EQ(::chmod(document.c_str(), mode), 0);
            const mode_t before = ::umask(mask);
            take(lock(MissingFile::IsCreated), FileLock::SHARED, FileLock::WAIT_FOREVER);
            ::umask(before);
            EXPECT_EQ(modeOf(path), mode & 0644U) << "umask " << mask << ", document " << mode;
        }
    }
}

TEST_F(LockFileTest, ANewFileWithoutADocumentMayBeReadByThoseWhoMayListTheFolder)
{
    for (const mode_t mode : {0755U, 0700U}) {
        fs::remove(path);
        ASSERT_EQ(::chmod(directory.path("").c_str(), mode), 0);
        const mode_t before = ::umask(077);
        take(lock(MissingFile::IsCreated), FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER);
        ::umask(before);
        EXPECT_EQ(modeOf(path), mode & 0644U);
    }
}

TEST_F(LockFileTest, ANewFileOfAnotherNameIsLikeItsFolderWhateverIsBesideIt)
{
    const std::string other = directory.path("operations");
    writeFile(other, "");
    ASSERT_EQ(::chmod(other.c_str(), 0600), 0);
    ASSERT_EQ(::chmod(directory.path("").c_str(), 0755), 0);
    const std::string name = other + ".txt";
    take(FileLockManager::instance().getLock(name, MissingFile::IsCreated), FileLock::SHARED);
    EXPECT_EQ(modeOf(name), 0644U);
}

TEST_F(LockFileTest, ANewFileWithoutAFolderInItsNameIsLikeTheCurrentFolder)
{
    ASSERT_EQ(::chmod(directory.path("").c_str(), 0755), 0);
    const fs::path before = fs::current_path();
    fs::current_path(directory.path());
    take(FileLockManager::instance().getLock("lock", MissingFile::IsCreated), FileLock::SHARED);
    fs::current_path(before);
    EXPECT_EQ(modeOf(directory.path("lock")), 0644U);
}

TEST_F(LockFileTest, MissingFileIsAnErrorAndIsNotInvented)
{
    expectUnavailable("No such file or directory");
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(LockFileTest, MissingFileIsCreatedWhenThatIsAllowed)
{
    for (const int type : {FileLock::SHARED, FileLock::EXCLUSIVE}) {
        fs::remove(path);
        const FileLock created = lock(MissingFile::IsCreated);
        EXPECT_FALSE(fs::exists(path)) << "the handle alone opens nothing";
        EXPECT_NO_THROW(take(created, type));
        EXPECT_EQ(fs::file_size(path), 0U);
        expectCorrectExclusion(created);
    }
}

TEST_F(LockFileTest, PermissionToCreateBelongsToTheHandle)
{
    const FileLock creating = lock(MissingFile::IsCreated);
    expectUnavailable("No such file or directory", MissingFile::IsAnError);
    EXPECT_NO_THROW(take(creating, FileLock::SHARED));
}

TEST_F(LockFileTest, ContentOfTheFileIsLeftAlone)
{
    writeFile(path, "content");
    expectCorrectExclusion(lock(MissingFile::IsCreated));
    EXPECT_EQ(readFile(path), "content");
}

TEST_F(LockFileTest, MissingFolderIsAnError)
{
    fs::remove(directory.path());
    expectUnavailable("No such file or directory", MissingFile::IsCreated);
}

TEST_F(LockFileTest, DirectoryIsRefused)
{
    fs::create_directory(path);
    expectUnavailable("not a regular file", MissingFile::IsCreated);
}

TEST_F(LockFileTest, LinkToNothingIsAnErrorAndItsTargetIsNotInvented)
{
    fs::create_symlink(directory.path("nothing"), path);
    expectUnavailable("No such file or directory", MissingFile::IsCreated);
    EXPECT_FALSE(fs::exists(directory.path("nothing")));
}

TEST_F(LockFileTest, FifoIsRefusedWithoutWaitingForItsOtherEnd)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
    expectUnavailable("not a regular file", MissingFile::IsCreated);
}

TEST_F(LockFileTest, DeviceIsRefused)
{
    fs::create_symlink("/dev/null", path);
    expectUnavailable("not a regular file", MissingFile::IsCreated);
}

TEST_F(LockFileTest, FileThatWasRemovedIsNoticedAtOnce)
{
    writeFile(path, "");
    const FileLock held = lock();
    take(held, FileLock::SHARED);
    fs::remove(path);
    expectUnavailable("No such file or directory");
    expectCorrectExclusion(lock(MissingFile::IsCreated));
}

TEST_F(LockFileTest, FileThatWasRenamedOverIsNoticedAtOnce)
{
    writeFile(path, "");
    const FileLock held = lock();
    take(held, FileLock::SHARED);
    writeFile(path + ".new", "");
    fs::rename(path + ".new", path);
    expectCorrectExclusion(held);
}

TEST_F(LockFileTest, WriterNoticesAtOnceThatTheFileWasRenamedAway)
{
    writeFile(path, "");
    const FileLock held = lock();
    take(held, FileLock::EXCLUSIVE);
    putAnotherFileThere();
    const FileLockGuard guard = take(held, FileLock::EXCLUSIVE);
    EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
}

TEST_F(LockFileTest, ReadersNoticeSoonThatTheFileWasRenamedAway)
{
    writeFile(path, "");
    const FileLock held = lock();
    take(held, FileLock::SHARED);
    putAnotherFileThere();
    LockHolder writer(path, "exclusive", AT_ONCE);
    ASSERT_EQ(writer.outcome(), "held");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(
        while (std::chrono::steady_clock::now() - start < std::chrono::seconds(10)) {
            take(held, FileLock::SHARED);
        },
        FileLockTimeout);
}

TEST_F(LockFileTest, ReadersWhoOverlapAllTheTimeNoticeThatTheFileWasRenamedAway)
{
    writeFile(path, "");
    const FileLock held = lock();
    auto lasting =
        std::make_unique<FileLockGuard>(held, FileLock::SHARED, AT_ONCE, FileLock::DEFAULT_INTERVAL);
    putAnotherFileThere();
    std::atomic<bool> noticed{false};
    std::thread([&] {
        try {
            const auto start = std::chrono::steady_clock::now();
            while (std::chrono::steady_clock::now() - start < std::chrono::seconds(10)) {
                take(held, FileLock::SHARED);
            }
        } catch (const FileLockTimeout&) {
            noticed = true;
        }
    }).join();
    EXPECT_TRUE(noticed);
    lasting.reset();
    expectCorrectExclusion(held);
}

TEST_F(LockFileTest, WriterThatWaitsForAFileWhichIsReplacedGoesOnToTheNewOne)
{
    writeFile(path, "");
    LockHolder oldHolder(path, "shared", AT_ONCE);
    ASSERT_EQ(oldHolder.outcome(), "held");
    LockHolder writer(path, "exclusive", FileLock::WAIT_FOREVER);
    EXPECT_THROW(
        while (true) { take(lock(), FileLock::SHARED); }, FileLockTimeout)
        << "the writer waits with its gate shut";
    putAnotherFileThere();
    EXPECT_EQ(writer.outcome(), "held");
}

TEST_F(LockFileTest, WriterThatGetsAFileWhichWasRenamedAwayJustNowTakesTheNewOne)
{
    writeFile(path, "");
    LockHolder reader(path, "shared", AT_ONCE);
    ASSERT_EQ(reader.outcome(), "held");
    LockHolder writer(path, "exclusive", FileLock::WAIT_FOREVER);
    EXPECT_THROW(
        while (true) { take(lock(), FileLock::SHARED); }, FileLockTimeout)
        << "the writer waits with its gate shut";
    putAnotherFileThere();
    reader.kill();
    EXPECT_EQ(writer.outcome(), "held");
    EXPECT_EQ(tryInOtherProcess(path, "shared"), "timeout");
}

TEST_F(LockFileTest, ANewFileOfAnotherGroupIsClosedToItWhereTheDocumentIsForItsOwnGroup)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can make a document of another user";
    }
    const std::string document = directory.path("operation-cache.json");
    writeFile(document, "{}");
    ASSERT_EQ(::chmod(directory.path("").c_str(), 0777), 0);
    for (const auto& [mode, expected] : {std::pair{0640U, 0600U}, std::pair{0644U, 0644U}}) {
        fs::remove(path);
        ASSERT_EQ(::chmod(document.c_str(), mode), 0);
        LockHolder creator(path, "shared", AT_ONCE, LockHolder::Options::CreateUnprivileged);
        EXPECT_EQ(creator.outcome(), "held");
        EXPECT_EQ(modeOf(path), expected);
    }
}

/// A file that its user may only read, in a folder where he may not write.
class ReadOnlyUserTest : public LockFileTest {
protected:
    ReadOnlyUserTest() { fs::permissions(directory.path(), fs::perms(0555)); }
    ~ReadOnlyUserTest() override { fs::permissions(directory.path(), fs::perms(0755)); }

    /// Called while the folder still may be written to, or by root.
    void makeFile(fs::perms permissions) const
    {
        fs::permissions(directory.path(), fs::perms(0755));
        writeFile(path, "");
        fs::permissions(path, permissions);
        fs::permissions(directory.path(), fs::perms(0555));
    }
    [[nodiscard]] std::string outcome(const std::string& type, LockHolder::Options options) const
    {
        LockHolder holder(path, type, FileLock::WAIT_FOREVER, options);
        return holder.outcome();
    }
};

TEST_F(ReadOnlyUserTest, TakesTheSharedLock)
{
    makeFile(fs::perms(0444));
    EXPECT_EQ(outcome("shared", LockHolder::Options::Unprivileged), "held");
    EXPECT_EQ(outcome("shared", LockHolder::Options::CreateUnprivileged), "held");
}

TEST_F(ReadOnlyUserTest, IsRefusedTheExclusiveLockAtOnce)
{
    makeFile(fs::perms(0444));
    EXPECT_EQ(outcome("exclusive", LockHolder::Options::Unprivileged), "unavailable");
    EXPECT_EQ(outcome("exclusive", LockHolder::Options::CreateUnprivileged), "unavailable");
}

TEST_F(ReadOnlyUserTest, CreatesNothing)
{
    for (const std::string type : {"shared", "exclusive"}) {
        EXPECT_EQ(outcome(type, LockHolder::Options::CreateUnprivileged), "unavailable");
    }
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(ReadOnlyUserTest, SharesWithAWriterWhoMayWrite)
{
    makeFile(fs::perms(0644));
    LockHolder reader(path, "shared", AT_ONCE, LockHolder::Options::Unprivileged);
    ASSERT_EQ(reader.outcome(), "held");
    EXPECT_THROW(take(lock(), FileLock::EXCLUSIVE), FileLockTimeout);
    reader.release();
    EXPECT_NO_THROW(take(lock(), FileLock::EXCLUSIVE));
}

TEST_F(ReadOnlyUserTest, IsRefusedAFileHeMayNotRead)
{
    makeFile(fs::perms(0));
    EXPECT_EQ(outcome("shared", LockHolder::Options::Unprivileged), "unavailable");
}

} // namespace
} // namespace keepsafe_test
