#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_BACKOFF_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_BACKOFF_H

#include <chrono>
#include <cstdint>

namespace Tessara::Keepsafe::Platform::filelock {

using Clock = std::chrono::steady_clock;

/// The end of a wait on the monotonic clock.
class Deadline {
public:
    /// -1 never passes; 0 has already passed.
    explicit Deadline(int timeoutMs) noexcept;

    [[nodiscard]] bool passed() const noexcept
    {
        return at_ != Clock::time_point::max() && Clock::now() >= at_;
    }
    [[nodiscard]] Clock::time_point at() const noexcept { return at_; }

private:
    Clock::time_point at_;
};

/// The pauses of a polling wait: a few yields, then sleeps that start at 20 microseconds and double up to the
/// longest pause. Each sleep is shortened by a random part of up to half, so that waiters do not move in step
/// with each other or with a writer's rests.
class Backoff {
public:
    /// A longest pause of less than 20 microseconds counts as 20.
    explicit Backoff(Clock::duration longestPause) noexcept;

    /// Pauses once; a sleep does not go past `deadline`, and a signal may cut it short.
    void pause(const Deadline& deadline) noexcept;
    /// Starts again with yields.
    void restart() noexcept;

private:
    [[nodiscard]] Clock::duration shortenedAtRandom(Clock::duration pause) noexcept;

    Clock::duration longest_;
    Clock::duration next_;
    int yieldsLeft_;
    std::uint64_t random_;
};

/// One sleep of at most that length; a signal may cut it short.
void sleepOnce(Clock::duration length) noexcept;

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
