#ifndef KEEPSAFE_TESTS_SYSTEM_KSRBAC_PIPE_H
#define KEEPSAFE_TESTS_SYSTEM_KSRBAC_PIPE_H

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "io/FileDescriptor.h"

namespace keepsafe_test {

/// A pipe to or from a program.
struct Pipe {
    Pipe() : Pipe(open()) {}
    ksrbac::FileDescriptor readEnd;
    ksrbac::FileDescriptor writeEnd;

private:
    explicit Pipe(const std::array<int, 2>& ends) : readEnd(ends[0]), writeEnd(ends[1]) {}
    static std::array<int, 2> open()
    {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
        return ends;
    }
};

/// Waits for a whole line and returns it without its line feed, or what there was at the end of the input.
inline std::string readLine(const ksrbac::FileDescriptor& input)
{
    std::string line;
    char next = 0;
    while (read(input.get(), &next, 1) == 1 && next != '\n') {
        line += next;
    }
    return line;
}

} // namespace keepsafe_test

#endif
