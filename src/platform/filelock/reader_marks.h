#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_MARKS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_READER_MARKS_H

#include <vector>

#include "Descriptor.h"
#include "SlotFolder.h"

/// \file
/// Each process with slots locks one byte of the control page's file, chosen by the number of its own
/// file. The lock lasts as long as the mapping of the page, as the one on its own file lasts as long as that
/// file's mapping. From these marks a writer sees that there is a reader whose file has been removed and
/// whose slots it cannot read.

namespace Tessara::Keepsafe::Platform::filelock {

/// `control` is open for reading. False on failure.
bool markReader(const Process::Descriptor& control, ino_t file) noexcept;

/// Whether there are marks of other files than those of `listed`.
bool hasUnlistedReader(const Process::Descriptor& control, const std::vector<SlotFolder::Reader>& listed);

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
