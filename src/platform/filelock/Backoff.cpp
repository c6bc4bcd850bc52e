#include "Backoff.h"

#include <algorithm>
#include <ctime>

#include <sched.h>

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

using std::chrono::duration_cast;
using std::chrono::nanoseconds;

constexpr Clock::duration SHORTEST_SLEEP = std::chrono::microseconds(20);
constexpr int YIELDS = 4;

} // namespace

Deadline::Deadline(int timeoutMs) noexcept
    : at_(timeoutMs < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(timeoutMs))
{
}

Backoff::Backoff(Clock::duration longestPause) noexcept
    : longest_(std::max(longestPause, SHORTEST_SLEEP)), next_(SHORTEST_SLEEP), yieldsLeft_(YIELDS),
      // xorshift needs a seed other than 0.
      random_(static_cast<std::uint64_t>(Clock::now().time_since_epoch().count()) | 1U)
{
}

void Backoff::pause(const Deadline& deadline) noexcept
{
    if (yieldsLeft_ > 0) {
        --yieldsLeft_;
        sched_yield();
        return;
    }
    Clock::duration length = shortenedAtRandom(next_);
    if (deadline.at() != Clock::time_point::max()) {
        length = std::min(length, deadline.at() - Clock::now());
    }
    sleepOnce(length);
    next_ = next_ > longest_ / 2 ? longest_ : next_ * 2;
}

void Backoff::restart() noexcept
{
    next_ = SHORTEST_SLEEP;
    yieldsLeft_ = YIELDS;
}

Clock::duration Backoff::shortenedAtRandom(Clock::duration pause) noexcept
{
    random_ ^= random_ << 13U;
    random_ ^= random_ >> 7U;
    random_ ^= random_ << 17U;
    const auto half = static_cast<std::uint64_t>(pause.count() / 2);
    return pause - Clock::duration(static_cast<Clock::rep>(random_ % (half + 1)));
}

void sleepOnce(Clock::duration length) noexcept
{
    if (length <= Clock::duration::zero()) {
        return;
    }
    const auto ns = duration_cast<nanoseconds>(length).count();
    timespec request{};
    request.tv_sec = static_cast<time_t>(ns / 1000000000);
    request.tv_nsec = static_cast<long>(ns % 1000000000);
    nanosleep(&request, nullptr);
}

} // namespace Tessara::Keepsafe::Platform::filelock
