#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_COARSECLOCK_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_COARSECLOCK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>

namespace Tessara::Keepsafe::Platform::filelock {

/// Something that one thread of a process does at most once in a while, on a clock that costs a few
/// nanoseconds and is a few milliseconds behind.
class OnceInAWhile {
public:
    /// Whether the caller is the one to do it now. It is due from the beginning.
    [[nodiscard]] bool isDue(std::chrono::milliseconds interval) noexcept
    {
        const std::int64_t now = coarseMilliseconds();
        std::int64_t next = nextMs_.load(std::memory_order_relaxed);
        return now >= next &&
               nextMs_.compare_exchange_strong(next, now + interval.count(), std::memory_order_relaxed);
    }
    void makeDue() noexcept { nextMs_.store(0, std::memory_order_relaxed); }

private:
    static std::int64_t coarseMilliseconds() noexcept
    {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
    }

    std::atomic<std::int64_t> nextMs_{0};
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
