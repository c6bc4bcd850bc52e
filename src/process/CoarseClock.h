#ifndef KEEPSAFE_SRC_PROCESS_COARSECLOCK_H
#define KEEPSAFE_SRC_PROCESS_COARSECLOCK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>

namespace Tessara::Keepsafe::Process {

/// A clock that costs a few nanoseconds and is a few milliseconds behind.
inline std::int64_t coarseMilliseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

/// Something that one thread of a process does at most once per interval. It is due at the start.
class OnceInAWhile {
public:
    /// Whether the caller must do it now.
    [[nodiscard]] bool isDue(std::chrono::milliseconds interval) noexcept
    {
        const std::int64_t now = coarseMilliseconds();
        std::int64_t next = nextMs_.load(std::memory_order_relaxed);
        return now >= next &&
               nextMs_.compare_exchange_strong(next, now + interval.count(), std::memory_order_relaxed);
    }
    void makeDue() noexcept { nextMs_.store(0, std::memory_order_relaxed); }

private:
    std::atomic<std::int64_t> nextMs_{0};
};

/// How old the result of a check is. It dates from the start of the check and becomes valid at its end: a
/// thread that finds it fresh knows what was true at most that long ago.
class Freshness {
public:
    [[nodiscard]] bool isStale(std::chrono::milliseconds age) const noexcept
    {
        return coarseMilliseconds() >= begunMs_.load(std::memory_order_acquire) + age.count();
    }
    void renew(std::int64_t begunMs) noexcept { begunMs_.store(begunMs, std::memory_order_release); }
    void makeStale() noexcept { renew(LONG_AGO); }

private:
    static constexpr std::int64_t LONG_AGO = -1000000000;

    std::atomic<std::int64_t> begunMs_{LONG_AGO};
};

} // namespace Tessara::Keepsafe::Process

#endif
