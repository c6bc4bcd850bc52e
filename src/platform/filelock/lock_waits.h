#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCK_WAITS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCK_WAITS_H

#include <string>

#include "Backoff.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// Whether the process's listener, if there is one, lets a wait that began then go on.
[[nodiscard]] bool mayWait(const std::string& lockName, Clock::time_point since) noexcept;

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
