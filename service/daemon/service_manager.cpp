#include "daemon/service_manager.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "decimal.h"
#include "files/FileSystem.h"

namespace keepsafe_service {

namespace {

/// The number that is a variable of the environment; 0 when there is none.
std::uint64_t environmentNumber(const char* name)
{
    constexpr std::size_t mostDigits = 18;
    const char* const value = std::getenv(name);
    const std::string_view text = value == nullptr ? "" : value;
    std::uint64_t number = 0;
    if (text.size() <= mostDigits) {
        (void)Tessara::Keepsafe::Text::parseDecimal(text, number);
    }
    return number;
}

void send(const std::string& path, const std::string& state, int flags)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const OpenFile socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), path);
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
    } else {
        std::copy(path.begin(), path.end(), address.sun_path);
        if (path[0] == '@') { // a name that is not in the file system
            address.sun_path[0] = '\0';
        }
        if (::sendto(socket.descriptor(), state.data(), state.size(), MSG_NOSIGNAL | flags,
                     reinterpret_cast<const sockaddr*>(&address),
                     length) == static_cast<ssize_t>(state.size())) {
            return;
        }
    }
    throw std::runtime_error("cannot tell the service manager at " + path + ": " +
                             std::generic_category().message(errno));
}

} // namespace

void tellServiceManager(const std::string& state)
{
    if (const char* const path = std::getenv("NOTIFY_SOCKET")) {
        send(path, state, 0);
    }
}

void mentionToServiceManager(const std::string& state) noexcept
try {
    if (const char* const path = std::getenv("NOTIFY_SOCKET")) {
        send(path, state, MSG_DONTWAIT);
    }
} catch (const std::exception&) {
    // It hears the next one, or asks for none.
}

std::optional<std::chrono::microseconds> watchdogPeriod()
{
    const std::uint64_t period = environmentNumber("WATCHDOG_USEC");
    const std::uint64_t process = environmentNumber("WATCHDOG_PID");
    if (period == 0 || (process != 0 && process != static_cast<std::uint64_t>(::getpid()))) {
        return std::nullopt;
    }
    return std::chrono::microseconds(period);
}

} // namespace keepsafe_service
