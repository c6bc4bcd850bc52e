#ifndef KEEPSAFE_SRC_PLATFORM_LOG_FORKMUTEX_H
#define KEEPSAFE_SRC_PLATFORM_LOG_FORKMUTEX_H

/// \file
/// The locks of the log. fork() takes both and frees them in parent and child, so that a child never starts
/// with a lock held by a thread that it does not have. Lock order: SyslogMutex, then SinkMutex.

namespace Tessara::Keepsafe::Platform::detail {

/// Guards the pointer to the current sink; held for the copy of a pointer, never while a sink writes.
struct SinkMutex {
    static void lock() noexcept;
    static void unlock() noexcept;
};

/// Held around calls of the C library's syslog functions, whose own lock a child would else inherit.
struct SyslogMutex {
    static void lock() noexcept;
    static void unlock() noexcept;
};

template <typename Mutex>
class Guard {
public:
    Guard() noexcept { Mutex::lock(); }
    ~Guard() { Mutex::unlock(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

} // namespace Tessara::Keepsafe::Platform::detail

#endif
