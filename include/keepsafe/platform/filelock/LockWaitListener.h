#ifndef KEEPSAFE_PLATFORM_FILELOCK_LOCKWAITLISTENER_H
#define KEEPSAFE_PLATFORM_FILELOCK_LOCKWAITLISTENER_H

#include <string>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Platform {

/// Hears of the process's waits for shared file locks (FileLock.h) and may end them: for a program whose user
/// should know why nothing happens, or does not want to wait without end. Without one, waits last as long as
/// the guards' timeouts say.
class KEEPSAFE_API LockWaitListener {
public:
    LockWaitListener() = default;
    LockWaitListener(const LockWaitListener&) = delete;
    LockWaitListener& operator=(const LockWaitListener&) = delete;
    virtual ~LockWaitListener();

    /// Called by each thread that waits for a shared lock, at once and then about every millisecond. Returns
    /// whether to wait on; if not, the guard throws `FileLockTimeout`. Holds no lock of this library's file
    /// locks, but callers of guards may hold their own: do not call the library.
    [[nodiscard]] virtual bool mayWait(const std::string& lockName, long waitedMilliseconds) noexcept = 0;
};

/// Sets the process's listener, null for none, and returns the one before. It is not owned: it must live
/// until the waits that began before it was replaced have ended. Any thread.
KEEPSAFE_API LockWaitListener* setLockWaitListener(LockWaitListener* listener) noexcept;

} // namespace Tessara::Keepsafe::Platform

#endif
