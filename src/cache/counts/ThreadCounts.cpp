#include "ThreadCounts.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <mutex>

#include "ForkHandlers.h"

namespace Tessara::Keepsafe::Rbac::detail {

namespace {

/// Threads that count by themselves at the same time. All others share the last place, where counts of
/// threads that count at the same moment may be lost.
constexpr std::size_t PLACES = 511;

// Never destroyed: threads may end after static objects are gone. Pages that no thread uses cost nothing.
std::array<ThreadCounts, PLACES + 1> places;
std::mutex placesMutex;
std::bitset<PLACES> taken;
std::atomic<std::size_t> placesUsed{0}; ///< those before were used once
thread_local bool hasEnded = false;

} // namespace

__thread ThreadCounts* ThreadCounts::mine = nullptr;

/// Gives the threads their places.
class ThreadCountsPool {
public:
    /// In the destructor of this thread's object: the place is another thread's, which counts on from there.
    struct Return {
        Return() = default;
        ~Return()
        {
            hasEnded = true;
            const std::lock_guard<std::mutex> guard(placesMutex);
            const auto index = static_cast<std::size_t>(ThreadCounts::mine - places.data());
            if (index < PLACES) {
                taken.reset(index);
            }
            ThreadCounts::mine = &places.back();
        }
        Return(const Return&) = delete;
        Return& operator=(const Return&) = delete;
        void isNeeded() const noexcept {} ///< the first use makes it
    };

    static ThreadCounts& take() noexcept
    {
        const std::lock_guard<std::mutex> guard(placesMutex);
        std::size_t index = hasEnded ? PLACES : 0;
        while (index < PLACES && taken.test(index)) {
            ++index;
        }
        if (index < PLACES) {
            taken.set(index);
        }
        placesUsed.store(std::max(placesUsed.load(), index + 1));
        ThreadCounts::mine = &places[index];
        return places[index];
    }

    /// A new process has counted nothing, and has one thread.
    static void beginInChild() noexcept
    {
        for (std::size_t i = 0; i < placesUsed.load(); ++i) {
            clear(places[i]);
        }
        taken.reset();
        if (ThreadCounts::mine != nullptr && ThreadCounts::mine != &places.back()) {
            taken.set(static_cast<std::size_t>(ThreadCounts::mine - places.data()));
        }
    }

private:
    static void clear(ThreadCounts& counts) noexcept
    {
        for (ThreadCounts::Number* number : {&counts.checks, &counts.denials, &counts.errors, &counts.waits,
                                             &counts.refreshes, &counts.nanoseconds}) {
            number->store(0, std::memory_order_relaxed);
        }
        for (ThreadCounts::Number& bucket : counts.buckets) {
            bucket.store(0, std::memory_order_relaxed);
        }
    }
};

namespace {

/// Registered when the library is loaded: later it could fail for lack of memory in the middle of a check.
const Process::ForkHandlers forkHandlers([] { placesMutex.lock(); }, [] { placesMutex.unlock(); },
                                         [] {
                                             ThreadCountsPool::beginInChild();
                                             placesMutex.unlock();
                                         });

} // namespace

ThreadCounts& ThreadCounts::take() noexcept
{
    static thread_local const ThreadCountsPool::Return atEnd;
    if (!hasEnded) {
        atEnd.isNeeded();
    }
    return ThreadCountsPool::take();
}

std::size_t ThreadCounts::used() noexcept { return placesUsed.load(); }

ThreadCounts& ThreadCounts::at(std::size_t index) noexcept { return places[index]; }

void ThreadCounts::addDuration(std::uint64_t duration) noexcept
{
    const auto* const end = std::lower_bound(BUCKET_ENDS.begin(), BUCKET_ENDS.end(), duration);
    add(buckets[static_cast<std::size_t>(end - BUCKET_ENDS.begin())]);
    add(nanoseconds, duration);
}

} // namespace Tessara::Keepsafe::Rbac::detail
