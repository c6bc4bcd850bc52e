#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_RANDOM_NUMBER_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_RANDOM_NUMBER_H

#include <cerrno>
#include <chrono>
#include <cstdint>

#include <sys/random.h>
#include <unistd.h>

namespace Tessara::Keepsafe::Platform::filelock {

/// A number that is unlikely to occur twice. If the system provides none, it is made from the time and the
/// process id.
inline std::uint64_t randomNumber() noexcept
{
    std::uint64_t number = 0;
    ssize_t bytes = 0;
    do {
        bytes = getrandom(&number, sizeof number, 0);
    } while (bytes < 0 && errno == EINTR);
    if (bytes != sizeof number) {
        const auto now = std::chrono::system_clock::now().time_since_epoch().count();
        number = (static_cast<std::uint64_t>(now) << 16U) ^ static_cast<std::uint64_t>(getpid());
    }
    return number;
}

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
