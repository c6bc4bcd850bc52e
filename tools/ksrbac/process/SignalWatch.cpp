#include "process/SignalWatch.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace ksrbac {

namespace {

// For the handler, which can reach nothing else. It may run in any thread, at any time, so a signal waits
// here until it is taken: by the handler that finds a program, or by the code that starts the program.
std::atomic<int> lastSignal{0};
std::atomic<int> waitingSignal{0};
std::atomic<pid_t> runningProgram{0};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<pid_t>::is_always_lock_free);

void deliver()
{
    const pid_t program = runningProgram;
    const int signal = program > 0 ? waitingSignal.exchange(0) : 0;
    if (signal != 0) {
        (void)kill(program, signal);
    }
}

void remember(int signal, siginfo_t* info, void* /*context*/)
{
    const int error = errno;
    lastSignal = signal;
    const bool isFromAProcess = info->si_code <= 0; // what the kernel sends for the terminal is positive
    if (isFromAProcess) {
        waitingSignal = signal;
        deliver();
    }
    errno = error;
}

} // namespace

SignalWatch::SignalWatch()
{
    lastSignal = 0;
    waitingSignal = 0;
    struct sigaction action = {};
    action.sa_sigaction = remember;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        (void)sigaction(SIGNALS[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) {
            (void)sigaction(SIGNALS[i], &action, nullptr);
        }
    }
}

SignalWatch::~SignalWatch()
{
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        (void)sigaction(SIGNALS[i], &before_[i], nullptr);
    }
    runningProgram = 0;
}

int SignalWatch::caught() const noexcept { return lastSignal; }

void SignalWatch::passOnTo(pid_t program) noexcept
{
    runningProgram = program;
    deliver();
}

} // namespace ksrbac
