#include "input/read_input.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "errors/InputError.h"
#include "read_file.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;

namespace Process = Tessara::Keepsafe::Process;

std::string inputName(const std::string& path) { return path == "-" ? "<stdin>" : path; }

std::string readInput(const std::string& path, std::size_t mostBytes)
{
    const std::string name = inputName(path);
    const Process::Descriptor file(path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                               : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    std::string content;
    const int failure = file.isOpen() ? Process::readAll(file, content, mostBytes) : errno;
    if (failure == EFBIG) {
        throw InputError(name + " has more than " + std::to_string(mostBytes) + " bytes");
    }
    if (failure != 0) {
        throw InputError("cannot read " + name + ": " + Process::failureText(failure));
    }
    return content;
}

std::string readTrimmedInput(const std::string& path, std::size_t mostBytes)
{
    std::string content = readInput(path, mostBytes);
    content.erase(content.find_last_not_of(" \t\r\n") + 1);
    return content;
}

} // namespace keepsafe_sandbox
