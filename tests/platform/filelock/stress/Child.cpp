#include "Child.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <system_error>
#include <utility>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace filelock_stress {

namespace {

[[noreturn]] void runAndExit(const std::function<void()>& work)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    int status = 0;
    try {
        work();
    } catch (const std::exception& error) {
        std::cerr << "child failed: " << error.what() << std::endl;
        status = 1;
    }
    std::cout.flush();
    _exit(status);
}

} // namespace

Child::Child(const std::function<void()>& work)
{
    std::cout.flush();
    pid_ = fork();
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid_ == 0) {
        runAndExit(work);
    }
}

Child::Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}

Child& Child::operator=(Child&& other) noexcept
{
    std::swap(pid_, other.pid_);
    return *this;
}

Child::~Child() { kill(); }

void Child::signal(int number) const
{
    if (pid_ > 0) { // -1 would reach every process
        ::kill(pid_, number);
    }
}

bool Child::waitUntilStopped()
{
    int status = 0;
    if (waitpid(pid_, &status, WUNTRACED) != pid_ || !WIFSTOPPED(status)) {
        pid_ = -1;
        return false;
    }
    return true;
}

bool Child::endsWell()
{
    int status = 0;
    const pid_t ended = waitpid(pid_, &status, 0);
    return ended == std::exchange(pid_, -1) && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool Child::kill() noexcept
{
    if (pid_ <= 0) {
        return false;
    }
    ::kill(pid_, SIGKILL);
    int status = 0;
    const pid_t ended = waitpid(pid_, &status, 0);
    return ended == std::exchange(pid_, -1) && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

} // namespace filelock_stress
