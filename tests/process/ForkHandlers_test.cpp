#include "ForkHandlers.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Tessara::Keepsafe::Process::HeldAcrossFork;

std::mutex first;
std::mutex second;
const HeldAcrossFork<first, second> held;

/// What the child's work returns, as its exit status.
template <typename Work>
int inChild(const Work& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(work());
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool canLockBoth() { return first.try_lock() && second.try_lock(); }

TEST(MutexesHeldAcrossAFork, AreFreeInTheChildWhileAnotherThreadUsesThem)
{
    std::atomic<bool> done{false};
    std::thread user([&] {
        while (!done) {
            const std::scoped_lock guard(first, second);
        }
    });
    for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(inChild([] { return canLockBoth() ? 0 : 1; }), 0);
    }
    done = true;
    user.join();
}

TEST(MutexesHeldAcrossAFork, AreFreeInTheParentAfterwards)
{
    EXPECT_EQ(inChild([] { return 0; }), 0);
    EXPECT_TRUE(canLockBoth());
    first.unlock();
    second.unlock();
}

} // namespace
