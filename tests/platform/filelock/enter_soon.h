#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_ENTER_SOON_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_ENTER_SOON_H

#include <chrono>
#include <stdexcept>
#include <thread>

#include "ReaderSlots.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// Enters by a slot as soon as it is possible. A single attempt may be refused on a busy machine, where a
/// look at the paths takes longer than it counts; then a reader takes the kernel lock.
inline ReaderSlots::Hold enterSoon(ReaderSlots& readers)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
        const ReaderSlots::Hold hold = readers.tryEnter();
        if (hold.slot != nullptr) {
            return hold;
        }
        std::this_thread::yield();
    }
    throw std::runtime_error("no way in by a slot");
}

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
