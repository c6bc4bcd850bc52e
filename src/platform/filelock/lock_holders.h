#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCK_HOLDERS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCK_HOLDERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "SlotFolder.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// Whether a line of /proc/PID/fdinfo/FD tells of an exclusive open-file-description lock on the data byte:
///
///     lock:	1: OFDLCK  ADVISORY  WRITE -1 08:01:131 4611686018427387904 4611686018427387905
[[nodiscard]] bool isExclusiveDataLock(const std::string& line);

/// The processes that hold the file's data byte exclusively, ascending. The kernel does not name the owner of
/// an open-file-description lock, so the open files of all processes are looked at: those of other users only
/// by root.
[[nodiscard]] std::vector<std::int32_t> exclusiveHolders(const FileIdentity& lockFile);

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
