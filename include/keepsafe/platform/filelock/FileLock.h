#ifndef KEEPSAFE_PLATFORM_FILELOCK_FILELOCK_H
#define KEEPSAFE_PLATFORM_FILELOCK_FILELOCK_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <ace/Time_Value.h>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/platform/status/EC_exception.h>

/// \file
/// The product's named inter-process lock: shared for readers, exclusive for writers. The name is the
/// path of a regular file, which is locked itself and never read or written. It excludes threads of one
/// process as well as processes, and the system releases it when its holder dies.
///
/// Beside the file the first writer creates a folder with the same name and ".readers": shared memory through
/// which readers take the lock without a system call. Without it, readers take a kernel lock on the file.
///
/// The path should be absolute. Two spellings of one path are two locks, which still exclude each other.
/// docs/locking.md describes how the lock works and what it costs.

/// Why a lock could not be acquired: the file is missing, cannot be opened, is not a regular file, or the
/// system refused. Status 12; the path and the reason were logged at level 16 with the tag "FileLockGuard".
class KEEPSAFE_API FileLockUnavailable : public EC_exception {
public:
    FileLockUnavailable();
    FileLockUnavailable(const FileLockUnavailable&) = default;
    FileLockUnavailable& operator=(const FileLockUnavailable&) = default;
    ~FileLockUnavailable() override;
};

/// The lock was held by others for the whole of the timeout. Status 12; nothing is logged.
class KEEPSAFE_API FileLockTimeout : public EC_exception {
public:
    FileLockTimeout();
    FileLockTimeout(const FileLockTimeout&) = default;
    FileLockTimeout& operator=(const FileLockTimeout&) = default;
    ~FileLockTimeout() override;
};

/// A handle of one named lock. Copies are handles of the same lock. Obtained from `FileLockManager`; it opens
/// nothing until the first guard is made. The file stays open while there are handles. Any thread.
class KEEPSAFE_API FileLock {
public:
    static constexpr int SHARED = 0;
    static constexpr int EXCLUSIVE = 1;
    /// Timeout that waits without end.
    static constexpr int WAIT_FOREVER = -1;
    /// The default retry interval: the longest pause between two attempts to take the lock. One millisecond.
    static const ACE_Time_Value DEFAULT_INTERVAL;

    /// Whether a missing file is created when a guard is made. A lock on someone else's document must not
    /// create it; a pure lock file may be created. Whatever the umask, a new file may be read by those who
    /// may read the document beside it (the path without ".lck"; the folder when there is none), and written
    /// by its owner alone, who is that of the document if the process may give files away. This belongs to
    /// the handle, not to the lock.
    enum class MissingFile { IsAnError, IsCreated };

    class State;
    class OtherHolders;

    FileLock(const FileLock& other) noexcept;
    FileLock& operator=(const FileLock& other) noexcept;
    ~FileLock();

    [[nodiscard]] const std::string& name() const noexcept;

    /// Who holds the lock shared at this moment in this process, not counting the calling thread's latest
    /// acquisition.
    [[nodiscard]] OtherHolders otherHolders() const;

private:
    friend class FileLockManager;
    friend class FileLockGuard;
    friend class OtherHolders;
    FileLock(std::shared_ptr<State> state, MissingFile missing) noexcept;
    std::shared_ptr<State> state_; ///< never null: moving copies
    MissingFile missing_;
};

/// Threads of this process that held a lock shared at one moment. What they may still be using, because it
/// was current when they took the lock, can be released when they have left: first put the replacement in
/// place, then ask for the other holders, and later ask whether they have left.
///
/// Any thread. The lock's handle, which it was made from, must outlive it.
class KEEPSAFE_API FileLock::OtherHolders {
public:
    OtherHolders() noexcept; ///< nobody
    OtherHolders(OtherHolders&&) noexcept;
    OtherHolders& operator=(OtherHolders&&) noexcept;
    ~OtherHolders();

    /// Whether all of them have released the lock since. May say no when others have taken it meanwhile.
    [[nodiscard]] bool haveLeft() const noexcept;

private:
    friend class FileLock;
    explicit OtherHolders(const State& state);

    const State* state_ = nullptr; ///< kept alive by the caller's handle
    std::vector<std::uint64_t> bySlot_;
    bool byKernelLock_ = false;
};

/// The process's table of locks: one kernel-level lock per name, shared by all threads. Any thread.
class KEEPSAFE_API FileLockManager {
public:
    static FileLockManager& instance();
    FileLockManager(const FileLockManager&) = delete;
    FileLockManager& operator=(const FileLockManager&) = delete;

    /// The lock of that name. Never fails because the file is missing: see `FileLockGuard`. Costs a table
    /// search, so callers on a hot path keep the handle.
    FileLock getLock(const std::string& name,
                     FileLock::MissingFile missing = FileLock::MissingFile::IsAnError);

private:
    FileLockManager();
    ~FileLockManager();
    class Impl;
    std::unique_ptr<Impl> impl_;
};

/// Holds a lock from construction to destruction. One thread's object: made and destroyed by the same thread.
/// The handle it is made from must outlive it.
///
/// - A shared lock inside a shared lock of the same thread always succeeds, even if writers are waiting.
/// - An exclusive lock inside any lock of the same name and thread, or a shared one inside an exclusive one,
///   is refused at once (`EC_exception` 20): it could never be granted.
/// - A shared lock needs permission to read the file, an exclusive one to read and write it.
/// - The lock is that of the file which the path leads to when it is taken. A file that is replaced meanwhile
///   is noticed within 10 ms; without the folder for readers, and by writers, at once when it was removed or
///   renamed over.
/// - After fork the child holds nothing: a guard it inherited does nothing when destroyed.
///
/// Throws `FileLockUnavailable` and `FileLockTimeout`, and `EC_exception` 20, with the reason in the log, for
/// a lock type other than 0 and 1, a timeout below -1 and a refusal as above. It never returns without the
/// lock. Taking a shared lock allocates only when it opens the file.
class KEEPSAFE_API FileLockGuard {
public:
    /// `timeoutMs` in milliseconds: 0 tries once, -1 waits without end. `retryInterval` bounds the pause
    /// between attempts; below 20 microseconds it counts as 20. A writer that has just released the lock
    /// pauses for a millisecond first, whatever the timeout.
    FileLockGuard(const FileLock& lock, int lockType, int timeoutMs, const ACE_Time_Value& retryInterval);
    ~FileLockGuard();
    FileLockGuard(const FileLockGuard&) = delete;
    FileLockGuard& operator=(const FileLockGuard&) = delete;

    /// For a shared lock: whether it was not free at once.
    [[nodiscard]] bool hasWaited() const noexcept { return hasWaited_; }

    /// For a shared lock: tells one state of what the lock protects from another. Between two holds with the
    /// same number, other than 0, no writer has held the lock. 0: unknown, because the lock is held without
    /// slots, or because it is time to check the files themselves, which is every 10 ms.
    [[nodiscard]] std::uint64_t writes() const noexcept { return writes_; }

    /// For a shared lock: whether the file that is locked is the one at the path. Looks at it now; the next
    /// guard looks again when it is not.
    [[nodiscard]] bool isCurrent() const noexcept;

private:
    void takeSlowly(const FileLock& lock, int timeoutMs, const ACE_Time_Value& retryInterval);

    FileLock::State* state_; ///< kept alive by the caller's handle
    void* slot_ = nullptr;   ///< of a shared lock; null: held by the kernel lock
    std::uint64_t writes_ = 0;
    unsigned long generation_; ///< the process generation (count of forks) in which the lock was taken
    int lockType_;
    bool hasWaited_ = false;
};

#endif
