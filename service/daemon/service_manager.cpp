#include "daemon/service_manager.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include <sys/socket.h>
#include <sys/un.h>

#include "files/FileSystem.h"

namespace keepsafe_sandbox {

void tellServiceManager(const std::string& state)
{
    const char* const name = std::getenv("NOTIFY_SOCKET");
    if (name == nullptr) {
        return;
    }
    const std::string path = name;
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
        if (::sendto(socket.descriptor(), state.data(), state.size(), MSG_NOSIGNAL,
                     reinterpret_cast<const sockaddr*>(&address),
                     length) == static_cast<ssize_t>(state.size())) {
            return;
        }
    }
    throw std::runtime_error("cannot tell the service manager at " + path + ": " +
                             std::generic_category().message(errno));
}

} // namespace keepsafe_sandbox
