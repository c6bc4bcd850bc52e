#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_FILES_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_FILES_H

#include "Descriptor.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// Locks a reader's file until the last mapping of the open file goes, also when the process has closed its
/// descriptor.
[[nodiscard]] bool lockForLife(const Process::Descriptor& file) noexcept;
/// Whether a living process has locked the file for its life.
[[nodiscard]] bool isAlive(const Process::Descriptor& file) noexcept;

enum class Slots { Lowered, Raised, NotWhole };

/// What the slots of a reader's file say. The kernel reads from the very memory that the process has mapped.
[[nodiscard]] Slots slotsOf(const Process::Descriptor& file);

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
