#include <keepsafe/platform/filelock/LockWaitListener.h>

#include <atomic>
#include <chrono>

#include "lock_waits.h"

namespace Tessara::Keepsafe::Platform {

namespace {

std::atomic<LockWaitListener*> current{nullptr};

} // namespace

LockWaitListener::~LockWaitListener() = default;

LockWaitListener* setLockWaitListener(LockWaitListener* listener) noexcept
{
    return current.exchange(listener, std::memory_order_acq_rel);
}

namespace filelock {

bool mayWait(const std::string& lockName, Clock::time_point since) noexcept
{
    LockWaitListener* const listener = current.load(std::memory_order_acquire);
    if (listener == nullptr) {
        return true;
    }
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since);
    return listener->mayWait(lockName, static_cast<long>(waited.count()));
}

} // namespace filelock
} // namespace Tessara::Keepsafe::Platform
