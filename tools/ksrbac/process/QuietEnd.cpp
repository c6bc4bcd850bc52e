#include "process/QuietEnd.h"

#include <atomic>
#include <cstddef>

#include <poll.h>
#include <unistd.h>

#include "io/ByteSink.h"

namespace ksrbac {

namespace {

// For the handler, which can reach nothing else and may run in any thread.
std::atomic<bool> isEnding{false};
std::atomic<bool> mayEndAtOnce{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void end(int signal)
{
    constexpr unsigned ONE_SECOND = 1;
    isEnding = true;
    if (mayEndAtOnce || signal == SIGALRM) {
        _exit(0);
    }
    (void)alarm(ONE_SECOND);
}

} // namespace

QuietEnd::QuietEnd()
{
    isEnding = false;
    struct sigaction action = {};
    action.sa_handler = end; // without SA_RESTART: waiting ends
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        (void)sigaction(SIGNALS[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN || SIGNALS[i] == SIGALRM) {
            (void)sigaction(SIGNALS[i], &action, nullptr);
        }
    }
}

QuietEnd::~QuietEnd()
{
    (void)alarm(0);
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        (void)sigaction(SIGNALS[i], &before_[i], nullptr);
    }
}

QuietEnd::AtOnce::AtOnce() noexcept
{
    mayEndAtOnce = true;
    if (isEnding) {
        _exit(0);
    }
}

QuietEnd::AtOnce::~AtOnce() { mayEndAtOnce = false; }

bool QuietEnd::goesOnAfter(std::chrono::milliseconds pause)
{
    pollfd output{STDOUT_FILENO, 0, 0}; // errors alone
    const bool hasEvent = !isEnding && poll(&output, 1, static_cast<int>(pause.count())) > 0;
    if (hasEvent && (output.revents & POLLERR) != 0) {
        throw OutputClosed("nobody reads standard output");
    }
    return !isEnding;
}

} // namespace ksrbac
