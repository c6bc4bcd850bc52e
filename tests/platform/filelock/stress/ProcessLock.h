#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_PROCESSLOCK_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_PROCESSLOCK_H

#include <atomic>
#include <cstdint>
#include <memory>

#include <keepsafe/platform/filelock/FileLock.h>

#include "scenarios.h"

namespace filelock_stress {

/// The lock as one process of a run uses it: with the gate or without, with slots or without.
class ProcessLock {
public:
    static ProcessLock ofWriter(const Options& options);
    /// For the reader process of that number; it may give up its rights here.
    static ProcessLock ofReader(const Options& options, std::size_t number);
    /// For the process of that number, which reads and writes.
    static ProcessLock ofBoth(const Options& options, std::size_t number);

    [[nodiscard]] FileLockGuard share() const;
    [[nodiscard]] FileLockGuard exclude(int timeoutMs = FileLock::WAIT_FOREVER) const;
    /// Whether the calling thread holds it shared by its slot, and not by the kernel lock.
    [[nodiscard]] bool isHeldBySlot() const noexcept;

private:
    ProcessLock(const Options& options, bool slots);

    std::shared_ptr<FileLock::State> state_;
    FileLock lock_;
};

/// Shared holds by the way in which they were got.
struct HoldFigures {
    std::atomic<std::int64_t> bySlot;
    std::atomic<std::int64_t> byKernelLock;

    void add(bool wasBySlot, std::int64_t count = 1) noexcept
    {
        (wasBySlot ? bySlot : byKernelLock).fetch_add(count, std::memory_order_relaxed);
    }
    void print() const;
    /// Prints both. Returns whether they are as the options promise: some by slots unless these are off, and
    /// some by the kernel lock unless all readers have slots.
    [[nodiscard]] bool printAndCheck(const Options& options) const;
};

/// A writer takes the lock once, in its own process: afterwards readers find a control page, and the
/// files of processes that have ended are gone.
[[nodiscard]] bool writeOnce(const Options& options);

/// Lets one more writer in and prints what is left beside the lock file. Returns whether that is as it should
/// be after all readers have ended: the control page alone.
[[nodiscard]] bool nothingIsLeftOver(const Options& options);

} // namespace filelock_stress

#endif
