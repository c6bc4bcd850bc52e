#include "io/input.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "exit_status.h"
#include "io/Activity.h"

namespace ksrbac {

namespace {

[[noreturn]] void throwUnreadable(const std::string& name, int error)
{
    throw InputError("cannot read " + name + ": " + std::generic_category().message(error));
}

} // namespace

std::string inputName(const std::string& path) { return path == STANDARD_INPUT ? "<stdin>" : path; }

Descriptor openInput(const std::string& path)
{
    // A copy of standard input, so that every descriptor here is owned.
    const int descriptor = path == STANDARD_INPUT ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                                  : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor == -1) {
        throwUnreadable(inputName(path), errno);
    }
    return Descriptor(descriptor);
}

std::size_t readSome(const Descriptor& input, const std::string& name, char* buffer, std::size_t size)
{
    std::optional<Activity::Pause> typing;
    if (isatty(input.get()) == 1) {
        typing.emplace();
    }
    while (true) {
        const ssize_t got = read(input.get(), buffer, size);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (errno == EAGAIN) {
            pollfd request{input.get(), POLLIN, 0};
            (void)poll(&request, 1, -1);
        } else if (errno != EINTR) {
            throwUnreadable(name, errno);
        }
    }
}

std::string readUpToLimit(const std::string& path, std::size_t limit)
{
    const Descriptor input = openInput(path);
    std::string content;
    std::array<char, std::size_t{64} * 1024> piece;
    while (content.size() <= limit) {
        const std::size_t wanted = std::min(piece.size(), limit + 1 - content.size());
        const std::size_t got = readSome(input, inputName(path), piece.data(), wanted);
        if (got == 0) {
            break;
        }
        content.append(piece.data(), got);
    }
    return content;
}

} // namespace ksrbac
