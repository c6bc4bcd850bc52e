#include "reader_files.h"

#include <algorithm>
#include <array>

#include <fcntl.h>
#include <unistd.h>

#include "LockFile.h"
#include "slot_files.h"

namespace Tessara::Keepsafe::Platform::filelock {

bool lockForLife(const Process::Descriptor& file) noexcept
{
    return requestLock(file.get(), F_OFD_SETLK, F_WRLCK, 0) == LockFile::Outcome::Done;
}

bool isAlive(const Process::Descriptor& file) noexcept
{
    struct flock found {};
    return requestLock(file.get(), F_OFD_GETLK, F_WRLCK, 0, 1, &found) != LockFile::Outcome::Done ||
           found.l_type != F_UNLCK;
}

Slots slotsOf(const Process::Descriptor& file)
{
    SlotFileHeader header;
    if (pread(file.get(), &header, sizeof header, 0) != sizeof header || !header.isSound()) {
        return Slots::NotWhole;
    }
    std::size_t left = std::min<std::size_t>(header.used.load(), SlotFile::SLOTS);
    std::array<ReaderSlot, 32> slots;
    for (off_t offset = sizeof header; left > 0; offset += sizeof slots) {
        const std::size_t count = std::min(left, slots.size());
        const std::size_t bytes = count * sizeof(ReaderSlot);
        if (pread(file.get(), slots.data(), bytes, offset) != static_cast<ssize_t>(bytes)) {
            return Slots::NotWhole;
        }
        if (std::any_of(slots.data(), slots.data() + count,
                        [](const ReaderSlot& slot) { return ReaderSlot::isRaised(slot.word.load()); })) {
            return Slots::Raised;
        }
        left -= count;
    }
    return Slots::Lowered;
}

} // namespace Tessara::Keepsafe::Platform::filelock
