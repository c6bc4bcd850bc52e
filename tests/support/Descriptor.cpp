#include "support/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace keepsafe_test {

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

void Descriptor::close() noexcept
{
    if (number_ != -1) {
        ::close(std::exchange(number_, -1));
    }
}

Descriptor openFile(const std::string& path, int flags)
{
    const int number = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (number == -1) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return Descriptor(number);
}

std::array<int, 2> Pipe::open()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return ends;
}

std::string readLine(const Descriptor& input)
{
    std::string line;
    char next = 0;
    while (read(input.get(), &next, 1) == 1 && next != '\n') {
        line += next;
    }
    return line;
}

std::string readAll(const Descriptor& input)
{
    std::string text;
    std::array<char, 512> bytes{};
    ssize_t count = 0;
    while ((count = read(input.get(), bytes.data(), bytes.size())) > 0 || (count < 0 && errno == EINTR)) {
        text.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return text;
}

} // namespace keepsafe_test
