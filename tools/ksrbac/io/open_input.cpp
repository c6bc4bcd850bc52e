#include "io/open_input.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "exit_status.h"

namespace ksrbac {

std::string inputName(const std::string& path) { return path == STANDARD_INPUT ? "<stdin>" : path; }

FileDescriptor openInput(const std::string& path)
{
    // A copy of standard input, so that every descriptor here is owned.
    const int descriptor = path == STANDARD_INPUT ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                                  : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor == -1) {
        throwUnreadable(inputName(path), errno);
    }
    return FileDescriptor(descriptor);
}

void throwUnreadable(const std::string& name, int error)
{
    throw InputError("cannot read " + name + ": " + std::generic_category().message(error));
}

} // namespace ksrbac
