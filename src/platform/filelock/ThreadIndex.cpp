#include "ThreadIndex.h"

#include <bitset>
#include <mutex>

#include "ForkRegistry.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

// Guarded by the fork mutex. Never destroyed: threads may end after static objects are gone.
std::bitset<ThreadIndex::CAPACITY> taken;
thread_local bool ended = false;

} // namespace

__thread std::uint32_t ThreadIndex::number = NONE;

/// Releases the thread's number when the thread ends. Destructors that run after this one find `NONE`.
class ThreadIndexReturn {
public:
    ThreadIndexReturn() = default;
    ~ThreadIndexReturn()
    {
        ended = true;
        if (ThreadIndex::number != ThreadIndex::NONE) {
            const std::lock_guard<std::mutex> guard(ForkRegistry::mutex());
            // A hold in an object that is destroyed later still needs the number; then it is not reused.
            if (!ForkRegistry::anyIsHeldBy(ThreadIndex::number)) {
                taken.reset(ThreadIndex::number);
            }
            ThreadIndex::number = ThreadIndex::NONE;
        }
    }
    ThreadIndexReturn(const ThreadIndexReturn&) = delete;
    ThreadIndexReturn& operator=(const ThreadIndexReturn&) = delete;

    void isNeeded() const noexcept {} ///< the first use makes it
};

std::uint32_t ThreadIndex::take() noexcept
{
    static thread_local const ThreadIndexReturn atEnd;
    if (ended) {
        return NONE;
    }
    atEnd.isNeeded();
    const std::lock_guard<std::mutex> guard(ForkRegistry::mutex());
    for (std::uint32_t candidate = 0; candidate < CAPACITY; ++candidate) {
        if (!taken.test(candidate)) {
            taken.set(candidate);
            number = candidate;
            break;
        }
    }
    return number;
}

void ThreadIndex::forgetOtherThreads() noexcept
{
    taken.reset();
    if (number != NONE) {
        taken.set(number);
    }
}

} // namespace Tessara::Keepsafe::Platform::filelock
