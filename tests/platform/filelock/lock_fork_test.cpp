// What a forked child has of its parent's locks: nothing.

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/status_codes.h>

#include "LockHolder.h"
#include "lock_descriptors.h"
#include "platform/filelock/taking.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

/// In processes that have made no lock before.
TEST(FirstLock, ThatIsMadeDuringAForkLetsTheChildMakeLocksToo)
{
    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    writeFile(path, "");
    const auto makeLock = [&path] { static_cast<void>(FileLockManager::instance().getLock(path)); };
    const auto makeLockInChild = [&makeLock] {
        alarm(10);
        makeLock();
        return 0;
    };
    const auto forkDuringTheFirst = [&] {
        std::atomic<bool> isOver{false};
        std::thread other([&] {
            while (!isOver) {
                makeLock();
            }
        });
        const int status = Process::fork(makeLockInChild).wait().exitStatus;
        isOver = true;
        other.join();
        return status;
    };
    for (int process = 0; process < 200; ++process) {
        ASSERT_EQ(Process::fork(forkDuringTheFirst).wait().exitStatus, 0) << process;
    }
}

class LockForkTest : public testing::Test {
protected:
    LockForkTest() { writeFile(path, ""); }

    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    const FileLock lock = FileLockManager::instance().getLock(path);
};

class LockForkTypesTest : public LockForkTest, public testing::WithParamInterface<int> {};

TEST_P(LockForkTypesTest, ChildHasNoDescriptorOfTheLock)
{
    const FileLockGuard guard = take(lock, GetParam());
    EXPECT_TRUE(holdsInChild([&] { return descriptorsOf(path).empty(); }));
}

TEST_P(LockForkTypesTest, ChildIsKeptOutByItsParentsHold)
{
    const FileLockGuard guard = take(lock, GetParam());
    EXPECT_TRUE(holdsInChild([&] { return isTimeout(lock, FileLock::EXCLUSIVE); }));
}

TEST_P(LockForkTypesTest, InheritedGuardReleasesNothing)
{
    auto guard = std::make_unique<FileLockGuard>(lock, GetParam(), AT_ONCE, FileLock::DEFAULT_INTERVAL);
    EXPECT_TRUE(holdsInChild([&] {
        guard.reset();
        return isTimeout(lock, FileLock::EXCLUSIVE);
    }));
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "timeout");
    guard.reset();
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
}

TEST_P(LockForkTypesTest, InheritedGuardSaysNothing)
{
    auto guard = std::make_unique<FileLockGuard>(lock, GetParam(), AT_ONCE, FileLock::DEFAULT_INTERVAL);
    EXPECT_TRUE(holdsInChild([&] {
        const CapturedLog log;
        guard.reset();
        return log.lines().empty();
    }));
}

TEST_F(LockForkTest, InheritedGuardDoesNotTouchTheChildsOwnHold)
{
    auto guard = std::make_unique<FileLockGuard>(lock, FileLock::SHARED, AT_ONCE, FileLock::DEFAULT_INTERVAL);
    EXPECT_TRUE(holdsInChild([&] {
        const CapturedLog log;
        const FileLockGuard own = take(lock, FileLock::SHARED);
        guard.reset();
        return !isTimeout(lock, FileLock::SHARED) &&
               refusal(lock, FileLock::EXCLUSIVE) == Tessara::Keepsafe::Status::INVALID_ARGUMENT;
    }));
}

TEST_F(LockForkTest, ChildDoesNotTakeItsParentsHoldForItsOwn)
{
    {
        const FileLockGuard guard = take(lock, FileLock::SHARED);
        EXPECT_TRUE(holdsInChild([&] {
            const FileLockGuard own = take(lock, FileLock::SHARED);
            return descriptorsOf(path).size() == 1;
        }));
    }
    const FileLockGuard guard = take(lock, FileLock::EXCLUSIVE);
    EXPECT_TRUE(holdsInChild([&] { return isTimeout(lock, FileLock::SHARED); }));
}

TEST_P(LockForkTypesTest, ChildUsesTheLockOnItsOwn)
{
    {
        const FileLockGuard guard = take(lock, GetParam());
    }
    EXPECT_TRUE(holdsInChild([&] {
        const FileLockGuard own = take(lock, FileLock::EXCLUSIVE);
        return tryInOtherProcess(path, "shared") == "timeout";
    }));
    EXPECT_EQ(tryInOtherProcess(path, "exclusive"), "held");
}

TEST_P(LockForkTypesTest, GrandchildInheritsNothingEither)
{
    const FileLockGuard guard = take(lock, GetParam());
    EXPECT_TRUE(holdsInChild([&] {
        return holdsInChild(
            [&] { return descriptorsOf(path).empty() && isTimeout(lock, FileLock::EXCLUSIVE); });
    }));
}

TEST_P(LockForkTypesTest, LockIsFreeWhenTheParentIsKilledWhileAChildLives)
{
    int childReports[2];
    int childWaits[2];
    ASSERT_EQ(pipe(childReports), 0);
    ASSERT_EQ(pipe(childWaits), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        const FileLockGuard guard = take(lock, GetParam());
        char byte = 'x';
        if (fork() == 0) {
            close(childWaits[1]);
            const bool reported = write(childReports[1], &byte, 1) == 1;
            _exit(reported && read(childWaits[0], &byte, 1) == 0 ? 0 : 1);
        }
        pause();
    }
    ASSERT_GT(parent, 0);
    char byte = 0;
    ASSERT_EQ(read(childReports[0], &byte, 1), 1);
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);

    EXPECT_NO_THROW(take(lock, FileLock::EXCLUSIVE));

    for (const int end : {childReports[0], childReports[1], childWaits[0], childWaits[1]}) {
        close(end);
    }
}

INSTANTIATE_TEST_SUITE_P(BothTypes, LockForkTypesTest, testing::Values(FileLock::SHARED, FileLock::EXCLUSIVE),
                         [](const auto& type) {
                             return type.param == FileLock::SHARED ? "shared" : "exclusive";
                         });

} // namespace
} // namespace keepsafe_test
