#include "HandlePool.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <utility>
#include <vector>

#include "NoDestructor.h"

namespace Tessara::Keepsafe::Platform::http {
namespace {

using Clock = HandlePool::Clock;
using Handles = std::vector<std::unique_ptr<Handle>>;

struct Idle {
    std::unique_ptr<Handle> handle;
    Clock::time_point since;
};

/// Guarded by the lock. The most recently used one is at the end and is lent first. INVARIANT: `idle` has
/// room for one more than MAX_IDLE, so that giving back allocates nothing under the lock.
struct State {
    State() { idle.reserve(HandlePool::MAX_IDLE + 1); }
    std::vector<Idle> idle;
    unsigned long forks = Handle::forks();
};

/// Made at first use.
State& state()
{
    static Process::NoDestructor<State> made;
    return *made;
}

/// Moves out the first `count` handles, which the caller closes after releasing the lock.
void takeFirst(State& pool, std::size_t count, Handles& closing)
{
    const auto end = pool.idle.begin() + static_cast<std::ptrdiff_t>(count);
    closing.reserve(closing.size() + count);
    for (auto at = pool.idle.begin(); at != end; ++at) {
        at->handle->setIdle(false);
        if (at->handle->isAbandoned()) {
            // Stays in the list of all handles, and is never touched again.
            static_cast<void>(at->handle.release()); // NOLINT(bugprone-unused-return-value)
        } else {
            closing.push_back(std::move(at->handle));
        }
    }
    pool.idle.erase(pool.idle.begin(), end);
}

void takeExpired(State& pool, Clock::time_point now, Handles& closing)
{
    if (pool.forks != Handle::forks()) {
        takeFirst(pool, pool.idle.size(), closing);
        pool.forks = Handle::forks();
    }
    const Clock::time_point limit = now - HandlePool::IDLE_LIMIT;
    const auto fresh = std::find_if(pool.idle.begin(), pool.idle.end(),
                                    [limit](const Idle& idle) { return idle.since > limit; });
    const auto expired = static_cast<std::size_t>(fresh - pool.idle.begin());
    const std::size_t excess =
        pool.idle.size() > HandlePool::MAX_IDLE ? pool.idle.size() - HandlePool::MAX_IDLE : 0;
    takeFirst(pool, std::max(expired, excess), closing);
}

} // namespace

std::unique_ptr<Handle> HandlePool::lend(const ConnectionKey& key, Clock::time_point now)
{
    Handles closing;
    const HandleLock guard;
    State& pool = state();
    takeExpired(pool, now, closing);
    const auto found = std::find_if(pool.idle.rbegin(), pool.idle.rend(),
                                    [&key](const Idle& idle) { return idle.handle->key() == key; });
    if (found == pool.idle.rend()) {
        return nullptr;
    }
    std::unique_ptr<Handle> handle = std::move(found->handle);
    pool.idle.erase(std::next(found).base());
    handle->setIdle(false);
    return handle;
}

void HandlePool::giveBack(std::unique_ptr<Handle> handle, Clock::time_point now) noexcept
{
    handle->forgetOptions();
    Handles closing;
    const HandleLock guard;
    try {
        State& pool = state();
        handle->setIdle(true);
        pool.idle.push_back({std::move(handle), now});
        takeExpired(pool, now, closing);
    } catch (const std::exception&) {
        // If memory runs out, the handle is closed, or the unneeded ones are closed later.
    }
}

} // namespace Tessara::Keepsafe::Platform::http
