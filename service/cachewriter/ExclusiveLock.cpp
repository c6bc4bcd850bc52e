#include "cachewriter/ExclusiveLock.h"

#include <algorithm>

#include <keepsafe/platform/log/logmsg.h>

#include "cachewriter/utc_time.h"

namespace keepsafe_service {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// After each of these it is looked whether the program is to end.
constexpr milliseconds PART_OF_A_WAIT{500};

/// What takes less time is not counted as a wait: a lock that is free takes much less.
constexpr milliseconds SHORTEST_WAIT{5};

/// Counts a wait when it is over, however it ends.
class CountedWait {
public:
    CountedWait() = default;
    ~CountedWait()
    {
        const auto time = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - begin_);
        if (time < SHORTEST_WAIT) {
            return;
        }
        ++lockWaits().count;
        lockWaits().nanoseconds += static_cast<std::uint64_t>(time.count());
    }
    CountedWait(const CountedWait&) = delete;
    CountedWait& operator=(const CountedWait&) = delete;

private:
    const Clock::time_point begin_ = Clock::now();
};

} // namespace

LockWaits& lockWaits() noexcept
{
    static LockWaits waits;
    return waits;
}

ExclusiveLock::ExclusiveLock(const std::string& path, const LockPatience& patience)
    : lock_(FileLockManager::instance().getLock(path))
{
    const CountedWait counted;
    acquire(path, patience);
}

void ExclusiveLock::acquire(const std::string& path, const LockPatience& patience)
{
    const std::string since = utcTime(std::chrono::system_clock::now());
    const Clock::time_point end = Clock::now() + patience.longest;
    bool isTold = false;
    while (true) {
        const bool isEnding = patience.isEnding != nullptr && patience.isEnding->load();
        const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
        const bool isLast = isEnding || left <= PART_OF_A_WAIT;
        if (take(isEnding ? milliseconds(0) : std::clamp(left, milliseconds(0), PART_OF_A_WAIT))) {
            return;
        }
        if (isLast) {
            throw LockBusy(path);
        }
        if (!isTold) {
            isTold = true;
            logmsgf(Tessara::Keepsafe::Platform::LOG_LEVEL_NOTABLE, "ExclusiveLock",
                    "waiting since %s for the lock on %s", since.c_str(), path.c_str());
        }
    }
}

bool ExclusiveLock::take(milliseconds longest)
{
    try {
        guard_.emplace(lock_, FileLock::EXCLUSIVE, static_cast<int>(longest.count()),
                       FileLock::DEFAULT_INTERVAL);
        return true;
    } catch (const FileLockTimeout&) {
        return false;
    }
}

} // namespace keepsafe_service
