// What a forked child has of its parent's locks: nothing.

#include <csignal>
#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "LockHolder.h"
#include "lock_descriptors.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

constexpr int AT_ONCE = 0;

FileLockGuard take(const FileLock& lock, int type, int timeoutMs = AT_ONCE)
{
    return {lock, type, timeoutMs, FileLock::DEFAULT_INTERVAL};
}

bool isTimeout(const FileLock& lock, int type)
{
    try {
        const FileLockGuard guard = take(lock, type);
    } catch (const FileLockTimeout&) {
        return true;
    }
    return false;
}

/// Runs the statement in a forked child and returns whether it held there.
bool holdsInChild(const std::function<bool()>& statement)
{
    const pid_t child = fork();
    if (child == 0) {
        bool holds = false;
        try {
            holds = statement();
        } catch (...) {
        }
        _exit(holds ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

class LockForkTest : public testing::TestWithParam<int> {
protected:
    LockForkTest() { writeFile(path, ""); }

    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    const FileLock lock = FileLockManager::instance().getLock(path);
};

TEST_P(LockForkTest, ChildHasNoDescriptorOfTheLock)
{
    const FileLockGuard guard = take(lock, GetParam());
    EXPECT_TRUE(holdsInChild([&] { return descriptorsOf(path).empty(); }));
}

TEST_P(LockForkTest, ChildIsKeptOutByItsParentsHold)
{
    const FileLockGuard guard = take(lock, GetParam());
    EXPECT_TRUE(holdsInChild([&] { return isTimeout(lock, FileLock::EXCLUSIVE); }));
}

TEST_P(LockForkTest, InheritedGuardReleasesNothing)
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

TEST_P(LockForkTest, InheritedGuardDoesNotTouchTheChildsOwnHold)
{
    auto guard = std::make_unique<FileLockGuard>(lock, GetParam(), AT_ONCE, FileLock::DEFAULT_INTERVAL);
    const std::string otherPath = directory.path("other");
    writeFile(otherPath, "");
    const bool kept = holdsInChild([&] {
        const FileLock other = FileLockManager::instance().getLock(otherPath);
        const FileLockGuard own = take(other, FileLock::EXCLUSIVE);
        guard.reset();
        return tryInOtherProcess(otherPath, "shared") == "timeout";
    });
    EXPECT_TRUE(kept);
}

TEST_P(LockForkTest, ChildUsesTheLockOnItsOwn)
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

TEST_P(LockForkTest, GrandchildInheritsNothingEither)
{
    const FileLockGuard guard = take(lock, GetParam());
    EXPECT_TRUE(holdsInChild([&] {
        return holdsInChild(
            [&] { return descriptorsOf(path).empty() && isTimeout(lock, FileLock::EXCLUSIVE); });
    }));
}

TEST_P(LockForkTest, LockIsFreeWhenTheParentIsKilledWhileAChildLives)
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
    char byte = 0;
    ASSERT_EQ(read(childReports[0], &byte, 1), 1);
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);

    EXPECT_NO_THROW(take(lock, FileLock::EXCLUSIVE));

    for (const int end : {childReports[0], childReports[1], childWaits[0], childWaits[1]}) {
        close(end);
    }
}

INSTANTIATE_TEST_SUITE_P(BothTypes, LockForkTest, testing::Values(FileLock::SHARED, FileLock::EXCLUSIVE),
                         [](const auto& type) {
                             return type.param == FileLock::SHARED ? "shared" : "exclusive";
                         });

} // namespace
} // namespace keepsafe_test
