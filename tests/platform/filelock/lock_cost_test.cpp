// What the shared lock costs when nobody contends for it: system calls and allocations.

#include <csignal>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "allocations.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

class LockCostTest : public testing::Test {
protected:
    LockCostTest() { writeFile(path, ""); }

    void sharedPair() const
    {
        const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    }

    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    const FileLock lock = FileLockManager::instance().getLock(path);
};

/// The number of system calls that a child process makes in `work`, as its tracer sees them.
long systemCallsOf(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        kill(getpid(), SIGSTOP);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFSTOPPED(status) || ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD) != 0) {
        throw std::runtime_error("the child cannot be traced");
    }
    constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80;
    long stops = 0;
    while (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 && waitpid(child, &status, 0) == child &&
           WIFSTOPPED(status)) {
        stops += WSTOPSIG(status) == SYSTEM_CALL_STOP ? 1 : 0;
    }
    return stops / 2; // one on the way in, one on the way out
}

TEST_F(LockCostTest, SharedPairTakesAtMostThreePointTwoSystemCallsOnAverage)
{
    constexpr int PAIRS = 2000;
    const auto pairs = [&](int count) {
        return [this, count] {
            for (int i = 0; i < count; ++i) {
                sharedPair();
            }
        };
    };
    // The path is looked at once in some milliseconds, so that a slow run counts more of these calls.
    double perPair = std::numeric_limits<double>::max();
    for (int run = 0; run < 5 && perPair > 3.2; ++run) {
        const long calls = systemCallsOf(pairs(2 * PAIRS)) - systemCallsOf(pairs(PAIRS));
        perPair = static_cast<double>(calls) / PAIRS;
    }
    RecordProperty("system_calls_per_pair", std::to_string(perPair));
    EXPECT_LE(perPair, 3.2);
    EXPECT_GE(perPair, 3.0) << "lock, look and unlock are three: the count must be wrong";
}

TEST_F(LockCostTest, TakingASharedLockAllocatesNothingAfterTheFirstTime)
{
    sharedPair();
    const std::size_t before = allocations();
    for (int i = 0; i < 100; ++i) {
        const FileLockGuard outer(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
        sharedPair();
    }
    EXPECT_EQ(allocations(), before);
}

} // namespace
} // namespace keepsafe_test
