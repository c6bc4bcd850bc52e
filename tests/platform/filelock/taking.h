#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_TAKING_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_TAKING_H

#include <functional>
#include <thread>

#include <keepsafe/platform/filelock/FileLock.h>

#include "support/thrown.h"

namespace keepsafe_test {

constexpr int AT_ONCE = 0;

inline FileLockGuard take(const FileLock& lock, int type, int timeoutMs = AT_ONCE)
{
    return {lock, type, timeoutMs, FileLock::DEFAULT_INTERVAL};
}

/// The status with which taking the lock fails; 0 when it does not.
inline int refusal(const FileLock& lock, int type, int timeoutMs = AT_ONCE)
{
    return thrownStatus([&] { take(lock, type, timeoutMs); });
}

inline bool isTimeout(const FileLock& lock, int type)
{
    try {
        take(lock, type);
    } catch (const FileLockTimeout&) {
        return true;
    }
    return false;
}

inline void inAnotherThread(const std::function<void()>& work) { std::thread(work).join(); }

} // namespace keepsafe_test

#endif
