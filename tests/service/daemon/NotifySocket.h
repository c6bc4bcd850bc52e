#ifndef KEEPSAFE_TESTS_SERVICE_DAEMON_NOTIFYSOCKET_H
#define KEEPSAFE_TESTS_SERVICE_DAEMON_NOTIFYSOCKET_H

#include <algorithm>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace keepsafe_test {

/// The end of a service manager: a socket with a name, a path or "@" and a name without a file.
class NotifySocket {
public:
    explicit NotifySocket(std::string name)
        : name_(std::move(name)), descriptor_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::copy(name_.begin(), name_.end(), address.sun_path);
        if (name_[0] == '@') {
            address.sun_path[0] = '\0';
        }
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name_.size());
        EXPECT_EQ(::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), length), 0) << name_;
    }
    ~NotifySocket()
    {
        ::close(descriptor_);
        ::unlink(name_.c_str());
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    /// The next datagram; fails the test when none comes.
    [[nodiscard]] std::string received() const
    {
        constexpr int limit = 60000;
        pollfd waiting = {descriptor_, POLLIN, 0};
        EXPECT_EQ(::poll(&waiting, 1, limit), 1);
        char bytes[1000];
        const ssize_t count = ::recv(descriptor_, bytes, sizeof bytes, MSG_DONTWAIT);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

    [[nodiscard]] bool isEmpty() const
    {
        pollfd waiting = {descriptor_, POLLIN, 0};
        return ::poll(&waiting, 1, 0) == 0;
    }

    /// The next datagram that does not begin like this.
    [[nodiscard]] std::string receivedBeside(const std::string& begin) const
    {
        std::string next = received();
        while (next.compare(0, begin.size(), begin) == 0) {
            next = received();
        }
        return next;
    }

private:
    std::string name_;
    int descriptor_;
};

} // namespace keepsafe_test

#endif
