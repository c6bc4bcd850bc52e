#include "monitor/MonitorAddress.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "errors/InputError.h"
#include "server/listening.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Process::Descriptor;

namespace {

constexpr char UNIX[] = "unix:";
constexpr std::size_t UNIX_SIZE = sizeof UNIX - 1;
constexpr mode_t OWNER_AND_GROUP = 0660;
constexpr int BACKLOG = 64;
constexpr unsigned char LOOPBACK_NETWORK = 127;

bool isLoopback(const std::string& host)
{
    in_addr v4{};
    in6_addr v6{};
    if (::inet_pton(AF_INET, host.c_str(), &v4) == 1) {
        return reinterpret_cast<const unsigned char*>(&v4)[0] == LOOPBACK_NETWORK;
    }
    return ::inet_pton(AF_INET6, host.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6) != 0;
}

sockaddr_un unixAddress(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), address.sun_path);
    return address;
}

Descriptor unixSocket()
{
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Whether the path is a socket that nobody listens at.
bool isLeftBehind(const std::string& path)
{
    struct stat status {};
    const Descriptor probe = unixSocket();
    const sockaddr_un address = unixAddress(path);
    return ::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) &&
           ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
           errno == ECONNREFUSED;
}

Descriptor listenAtPath(const std::string& path)
{
    if (isLeftBehind(path)) {
        ::unlink(path.c_str());
    }
    Descriptor socket = unixSocket();
    const sockaddr_un address = unixAddress(path);
    // Nobody can connect before it listens, so nobody does with other permissions.
    if (!socket.isOpen() ||
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(path.c_str(), OWNER_AND_GROUP) != 0 || ::listen(socket.get(), BACKLOG) != 0) {
        throw std::runtime_error("cannot listen on unix:" + path + ": " +
                                 std::generic_category().message(errno));
    }
    return socket;
}

} // namespace

MonitorAddress MonitorAddress::parse(const std::string& text)
{
    const auto fail = [&text](const std::string& what) { throw InputError("\"" + text + "\": " + what); };
    MonitorAddress address;
    address.text_ = text;
    if (text.compare(0, UNIX_SIZE, UNIX) == 0) {
        address.path_ = text.substr(UNIX_SIZE);
        if (address.path_.empty() || address.path_.front() != '/') {
            fail("the path of the socket is not absolute");
        }
        if (address.path_.size() >= sizeof sockaddr_un{}.sun_path) {
            fail("the path of the socket is longer than " +
                 std::to_string(sizeof sockaddr_un{}.sun_path - 1) + " bytes");
        }
        return address;
    }
    address.address_ = ListenAddress::parse(text);
    if (!isLoopback(address.address_.host)) {
        fail("monitoring is answered on this host alone: wanted is a loopback address and a port, as in "
             "127.0.0.1:9156 or [::1]:9156, or unix:PATH");
    }
    return address;
}

Descriptor MonitorAddress::listen() const { return path_.empty() ? listenOn(address_) : listenAtPath(path_); }

} // namespace keepsafe_service
