#ifndef KEEPSAFE_SRC_PLATFORM_LOG_FORKMUTEX_H
#define KEEPSAFE_SRC_PLATFORM_LOG_FORKMUTEX_H

#include <mutex>

/// \file
/// The locks of the log, which are held across a fork. Lock order: syslogMutex, then sinkMutex.

namespace Tessara::Keepsafe::Platform::detail {

/// Guards the pointer to the current sink; held for the copy of a pointer, never while a sink writes.
extern std::mutex sinkMutex;

/// Held around calls of the C library's syslog functions, whose own lock a child would otherwise inherit.
extern std::mutex syslogMutex;

} // namespace Tessara::Keepsafe::Platform::detail

#endif
