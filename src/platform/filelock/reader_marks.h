#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_MARKS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_MARKS_H

#include <vector>

#include "Descriptor.h"
#include "SlotFolder.h"

/// \file
/// Each process with slots locks one byte of the control page's file, that of the number of its own file. The
/// lock goes with the mapping of the page, as the one on its own file goes with the mapping of that. By these
/// marks a writer sees that there is a reader whose file somebody has removed, and at whose slots it cannot
/// look.

namespace Tessara::Keepsafe::Platform::filelock {

/// `control` is open for reading. False: it cannot be done.
bool markReader(const Process::Descriptor& control, ino_t file) noexcept;

/// Whether there are marks of other files than those of `listed`.
bool hasUnlistedReader(const Process::Descriptor& control, const std::vector<SlotFolder::Reader>& listed);

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
