#include "io/read_input.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "io/open_input.h"

namespace ksrbac {

std::string readUpToLimit(const std::string& path, std::size_t limit)
{
    const FileDescriptor file = openInput(path);
    std::string content;
    std::array<char, std::size_t{64} * 1024> piece{};
    while (content.size() <= limit) {
        const std::size_t wanted = std::min(piece.size(), limit + 1 - content.size());
        const ssize_t got = read(file.get(), piece.data(), wanted);
        if (got == 0) {
            break;
        }
        if (got > 0) {
            content.append(piece.data(), static_cast<std::size_t>(got));
        } else if (errno == EAGAIN) {
            pollfd request{file.get(), POLLIN, 0};
            (void)poll(&request, 1, -1);
        } else if (errno != EINTR) {
            throwUnreadable(inputName(path), errno);
        }
    }
    return content;
}

} // namespace ksrbac
