#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_MEASURES_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_MEASURES_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "Child.h"
#include "ProcessLock.h"

namespace filelock_stress {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// What reader processes report, in shared memory.
struct ReaderFigures {
    std::atomic<bool> stop;
    HoldFigures holds;
    std::atomic<std::int64_t> longestWaitNs;

    void addWait(Clock::duration wait) noexcept
    {
        const std::int64_t ns = std::chrono::nanoseconds(wait).count();
        std::int64_t longest = longestWaitNs.load(std::memory_order_relaxed);
        while (ns > longest && !longestWaitNs.compare_exchange_weak(longest, ns)) {
        }
    }
    [[nodiscard]] Milliseconds longestWait() const noexcept
    {
        return std::chrono::nanoseconds(longestWaitNs.load());
    }
};

/// The time that `take` takes.
template <typename Take>
Clock::duration timed(const Take& take)
{
    const Clock::time_point start = Clock::now();
    take();
    return Clock::now() - start;
}

/// Takes and releases the shared lock in a tight loop until told to stop.
inline void readInALoop(const ProcessLock& lock, ReaderFigures& figures)
{
    std::int64_t bySlot = 0;
    std::int64_t byKernelLock = 0;
    while (!figures.stop.load(std::memory_order_relaxed)) {
        const Clock::time_point start = Clock::now();
        const FileLockGuard guard = lock.share();
        figures.addWait(Clock::now() - start);
        ++(lock.isHeldBySlot() ? bySlot : byKernelLock);
    }
    figures.holds.add(true, bySlot);
    figures.holds.add(false, byKernelLock);
}

/// Runs the work on several threads of this process.
inline void onThreads(int count, const std::function<void()>& work)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(work);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Processes with some threads, each of which reads in a tight loop until told to stop.
inline std::vector<Child> startReaders(const Options& options, ReaderFigures& figures)
{
    std::vector<Child> readers;
    for (std::size_t number = 0; number < static_cast<std::size_t>(options.processes); ++number) {
        readers.emplace_back([&, number] {
            const ProcessLock lock = ProcessLock::ofReader(options, number);
            onThreads(options.threads, [&] { readInALoop(lock, figures); });
        });
    }
    return readers;
}

/// Whether all of them end by themselves, and well.
inline bool endWell(std::vector<Child>& children)
{
    bool well = true;
    for (Child& child : children) {
        well = child.endsWell() && well;
    }
    return well;
}

/// Waits of one thread, in the order of their lengths once asked.
class Waits {
public:
    void add(Clock::duration wait) { waits_.push_back(wait); }
    [[nodiscard]] std::size_t count() const noexcept { return waits_.size(); }
    /// The wait that this share of all waits does not exceed.
    Milliseconds quantile(double share)
    {
        if (waits_.empty()) {
            return Milliseconds::max();
        }
        std::sort(waits_.begin(), waits_.end());
        return waits_[static_cast<std::size_t>(share * static_cast<double>(waits_.size() - 1))];
    }

private:
    std::vector<Clock::duration> waits_;
};

inline void printFigure(const std::string& name, Milliseconds value)
{
    std::cout << name << ": " << std::fixed << std::setprecision(3) << value.count() << " ms" << std::endl;
}

inline void printFigure(const std::string& name, std::int64_t value)
{
    std::cout << name << ": " << value << std::endl;
}

/// Prints a figure with its bound and returns whether it keeps to it.
inline bool printBounded(const std::string& name, Milliseconds value, Milliseconds bound)
{
    const bool kept = value <= bound;
    std::cout << name << ": " << std::fixed << std::setprecision(3) << value.count() << " ms (at most "
              << std::setprecision(0) << bound.count() << " ms" << (kept ? ")" : ": EXCEEDED)") << std::endl;
    return kept;
}

} // namespace filelock_stress

#endif
