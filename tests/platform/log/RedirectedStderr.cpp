#include "RedirectedStderr.h"

#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace keepsafe_test {

RedirectedStderr::RedirectedStderr() : before_(::dup(STDERR_FILENO))
{
    const int file = ::open(folder_.path("stderr").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (before_ < 0 || file < 0 || ::dup2(file, STDERR_FILENO) < 0) {
        throw std::runtime_error("cannot redirect standard error");
    }
    ::close(file);
}

RedirectedStderr::~RedirectedStderr()
{
    ::dup2(before_, STDERR_FILENO);
    ::close(before_);
}

std::string RedirectedStderr::content() const { return readFile(folder_.path("stderr")); }

} // namespace keepsafe_test
