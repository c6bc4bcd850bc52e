#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_FILES_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_FILES_H

#include "Descriptor.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// Locks a reader's file until the last mapping of the open file is gone, even after the process has closed
/// its descriptor.
[[nodiscard]] bool lockForLife(const Process::Descriptor& file) noexcept;
/// Whether a living process holds the file's lock.
[[nodiscard]] bool isAlive(const Process::Descriptor& file) noexcept;

enum class Slots { Lowered, Raised, NotWhole };

/// The slots of a reader's file. The kernel reads from the same memory that the process has mapped.
[[nodiscard]] Slots slotsOf(const Process::Descriptor& file);

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
