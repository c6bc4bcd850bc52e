#ifndef KEEPSAFE_SERVICE_CACHEWRITER_EXCLUSIVELOCK_H
#define KEEPSAFE_SERVICE_CACHEWRITER_EXCLUSIVELOCK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <keepsafe/platform/filelock/FileLock.h>

#include "cachewriter/PublishError.h"

namespace keepsafe_service {

/// How often, and for how long, this process's writers have waited for locks that others held.
struct LockWaits {
    std::atomic<std::uint64_t> count{0};
    std::atomic<std::uint64_t> nanoseconds{0};
};
[[nodiscard]] LockWaits& lockWaits() noexcept;

/// How long a writer waits for a lock that others hold.
struct LockPatience {
    std::chrono::milliseconds longest{30'000};
    /// Set when the program is to end: then no lock is waited for any longer. Null: never.
    const std::atomic<bool>* isEnding = nullptr;
};

/// Others have held a lock for as long as the writer was to wait. Nothing was changed under it.
class LockBusy : public PublishError {
public:
    explicit LockBusy(const std::string& path) : PublishError(path + " is locked by others") {}
};

/// A file lock that is held exclusively from construction to destruction. A writer holds no other one when it
/// waits for this one: whoever stops others' work by holding a lock stops only what needs that lock.
class ExclusiveLock {
public:
    /// The file has to be there. A wait of more than half a second is logged with the lock's path and the
    /// time since when it lasts. Throws `LockBusy`, and `EC_exception` when the lock cannot be acquired.
    ExclusiveLock(const std::string& path, const LockPatience& patience);

private:
    void acquire(const std::string& path, const LockPatience& patience);
    bool take(std::chrono::milliseconds longest);

    const FileLock lock_;
    std::optional<FileLockGuard> guard_;
};

} // namespace keepsafe_service

#endif
