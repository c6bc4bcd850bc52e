#include "input/read_input.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "errors/InputError.h"
#include "files/FileSystem.h"

namespace keepsafe_sandbox {

namespace {

[[noreturn]] void fail(const std::string& name)
{
    throw InputError("cannot read " + name + ": " + std::generic_category().message(errno));
}

/// A copy of standard input, so that every descriptor here is owned.
OpenFile openInput(const std::string& path, const std::string& name)
{
    const int descriptor = path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                       : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor == -1) {
        fail(name);
    }
    return {descriptor, name};
}

} // namespace

std::string readInput(const std::string& path, std::size_t mostBytes)
{
    const std::string name = path == "-" ? "<stdin>" : path;
    const OpenFile file = openInput(path, name);
    std::string content;
    char buffer[4096];
    while (true) {
        const ssize_t count = ::read(file.descriptor(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            fail(name);
        }
        if (count == 0) {
            return content;
        }
        content.append(buffer, static_cast<std::size_t>(count));
        if (content.size() > mostBytes) {
            throw InputError(name + " has more than " + std::to_string(mostBytes) + " bytes");
        }
    }
}

std::string readTrimmedInput(const std::string& path, std::size_t mostBytes)
{
    std::string content = readInput(path, mostBytes);
    content.erase(content.find_last_not_of(" \t\r\n") + 1);
    return content;
}

} // namespace keepsafe_sandbox
