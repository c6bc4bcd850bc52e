#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_GATEPATIENCE_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_GATEPATIENCE_H

#include <atomic>

#include "Backoff.h"
#include "LockSettings.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// How far the readers of a process respect a shut gate. A writer opens it from time to time, but a stopped
/// writer cannot, and with many writers there is always one that keeps it shut. A reader that has found it
/// shut for the whole patience exhausts it: then the process ignores the gate for 10 ms, doubling to 1 s as
/// long as nobody finds the gate open. Exclusion never depends on the gate.
///
/// Threads share it without a lock; a lost update costs a little fairness.
class GatePatience {
public:
    explicit GatePatience(const LockSettings& settings) noexcept
        : settings_(settings), span_(Clock::duration(settings.gateOpen).count())
    {
    }

    [[nodiscard]] bool gateIsIgnored() const noexcept
    {
        return Clock::now().time_since_epoch().count() < ignoredUntil_.load(std::memory_order_relaxed);
    }

    /// Whether it was shut when it was last asked: then each acquisition asks, until one finds it open. Else
    /// a reader that gives up and tries again would be one of the many that do not ask.
    [[nodiscard]] bool wasShut() const noexcept { return wasShut_.load(std::memory_order_relaxed); }

    /// For how long it will be ignored next time.
    [[nodiscard]] Clock::duration nextSpan() const noexcept
    {
        return Clock::duration(span_.load(std::memory_order_relaxed));
    }

    void gateWasShut() noexcept { wasShut_.store(true, std::memory_order_relaxed); }

    void gateWasOpen() noexcept
    {
        if (wasShut()) {
            wasShut_.store(false, std::memory_order_relaxed);
        }
        const auto first = Clock::duration(settings_.gateOpen).count();
        if (span_.load(std::memory_order_relaxed) != first) {
            span_.store(first, std::memory_order_relaxed);
        }
    }

    void exhausted() noexcept
    {
        if (gateIsIgnored()) {
            return; // another thread was quicker
        }
        const auto span = span_.load(std::memory_order_relaxed);
        ignoredUntil_.store(Clock::now().time_since_epoch().count() + span, std::memory_order_relaxed);
        const auto longest = Clock::duration(settings_.gateOpenLongest).count();
        span_.store(span > longest / 2 ? longest : span * 2, std::memory_order_relaxed);
    }

private:
    const LockSettings& settings_;
    std::atomic<Clock::rep> ignoredUntil_{0};
    std::atomic<Clock::rep> span_;
    std::atomic<bool> wasShut_{false};
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
