#include "service/monitor/ask_monitor.h"

#include <algorithm>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace keepsafe_test {

namespace {

constexpr char UNIX[] = "unix:";
constexpr std::size_t UNIX_SIZE = sizeof UNIX - 1;

int connectedTo(int descriptor, const sockaddr* address, socklen_t size)
{
    if (::connect(descriptor, address, size) == 0) {
        return descriptor;
    }
    ::close(descriptor);
    return -1;
}

} // namespace

Descriptor connectToMonitor(const std::string& address)
{
    if (address.compare(0, UNIX_SIZE, UNIX) == 0) {
        sockaddr_un path{};
        path.sun_family = AF_UNIX;
        std::copy(address.begin() + UNIX_SIZE, address.end(), path.sun_path);
        return Descriptor(connectedTo(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0),
                                      reinterpret_cast<const sockaddr*>(&path), sizeof path));
    }
    const std::size_t colon = address.rfind(':');
    sockaddr_in ip{};
    ip.sin_family = AF_INET;
    ip.sin_port = htons(static_cast<in_port_t>(std::stoi(address.substr(colon + 1))));
    ::inet_pton(AF_INET, address.substr(0, colon).c_str(), &ip.sin_addr);
    return Descriptor(connectedTo(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0),
                                  reinterpret_cast<const sockaddr*>(&ip), sizeof ip));
}

std::string exchange(const Descriptor& connection, const std::string& bytes)
{
    static_cast<void>(::send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
    std::string response;
    char block[4096];
    for (ssize_t size = 1; size > 0;
         response.append(block, static_cast<std::size_t>(std::max<ssize_t>(size, 0)))) {
        size = ::recv(connection.get(), block, sizeof block, 0);
    }
    return response;
}

std::string askMonitor(const std::string& address, const std::string& path, const std::string& headers,
                       const std::string& method)
{
    return exchange(connectToMonitor(address),
                    method + ' ' + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n" + headers + "\r\n");
}

std::string bodyOf(const std::string& response)
{
    const std::size_t end = response.find("\r\n\r\n");
    return end == std::string::npos ? "" : response.substr(end + 4);
}

} // namespace keepsafe_test
