#include "process/SignalWatch.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace ksrbac {

namespace {

// For the handler, which can reach nothing else.
volatile std::sig_atomic_t lastSignal = 0;
std::atomic<pid_t> runningProgram{0};
static_assert(std::atomic<pid_t>::is_always_lock_free);

void remember(int signal, siginfo_t* info, void* /*context*/)
{
    const int error = errno;
    lastSignal = signal;
    const pid_t program = runningProgram.load();
    const bool isFromAProcess = info->si_code <= 0; // what the kernel sends for the terminal is positive
    if (program > 0 && isFromAProcess) {
        (void)kill(program, signal);
    }
    errno = error;
}

} // namespace

SignalWatch::SignalWatch()
{
    lastSignal = 0;
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

void SignalWatch::passOnTo(pid_t program) noexcept { runningProgram = program; }

SignalsHeldBack::SignalsHeldBack() noexcept
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : SignalWatch::SIGNALS) {
        sigaddset(&signals, signal);
    }
    (void)pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

SignalsHeldBack::~SignalsHeldBack() { (void)pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

} // namespace ksrbac
