#include "support/SystemCalls.h"

#include <algorithm>
#include <csignal>
#include <limits>
#include <stdexcept>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keepsafe_test {

namespace {

constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80;

pid_t startStoppedBefore(const std::function<void()>& prepare, const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        prepare();
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        // Past the C library: a sanitizer's kill and _exit make further calls.
        syscall(SYS_kill, getpid(), SIGSTOP);
        work();
        syscall(SYS_exit_group, 0);
    }
    return child;
}

} // namespace

long systemCallsOf(const std::function<void()>& prepare, const std::function<void()>& work)
{
    const pid_t child = startStoppedBefore(prepare, work);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFSTOPPED(status) || ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD) != 0) {
        throw std::runtime_error("the child cannot be traced");
    }
    long stops = 0;
    while (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 && waitpid(child, &status, 0) == child &&
           WIFSTOPPED(status)) {
        stops += WSTOPSIG(status) == SYSTEM_CALL_STOP ? 1 : 0;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the child did not end well");
    }
    return stops / 2; // one on the way in, one on the way out; its end has no way out
}

long fewestSystemCallsOf(const std::function<void()>& prepare, const std::function<void()>& work)
{
    constexpr int RUNS = 5;
    long fewest = std::numeric_limits<long>::max();
    for (int run = 0; run < RUNS; ++run) {
        fewest = std::min(fewest, systemCallsOf(prepare, work));
    }
    return fewest;
}

} // namespace keepsafe_test
