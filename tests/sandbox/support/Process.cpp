#include "sandbox/support/Process.h"

#include <csignal>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TempDir.h"

namespace keepsafe_test {

namespace {

constexpr int EXIT_EXCEPTION = 99;
constexpr int EXIT_NOT_STARTED = 98;

int runCatching(const std::function<int()>& work)
{
    try {
        return work();
    } catch (...) {
        return EXIT_EXCEPTION;
    }
}

void redirect(const std::string& path, int descriptor)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ::dup2(file, descriptor);
}

} // namespace

Process Process::fork(const std::function<int()>& work)
{
    const pid_t pid = ::fork();
    if (pid == -1) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        ::_exit(runCatching(work));
    }
    return Process(pid);
}

Process Process::start(const std::vector<std::string>& arguments, const std::string& outputFile,
                       const std::string& errorFile)
{
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    return fork([&] {
        redirect(outputFile, STDOUT_FILENO);
        redirect(errorFile, STDERR_FILENO);
        ::execv(argv[0], argv.data());
        return EXIT_NOT_STARTED;
    });
}

Process::Process(Process&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}

Process::~Process()
{
    if (pid_ != -1) {
        kill();
        wait();
    }
}

void Process::kill() const
{
    if (pid_ > 0) { // -1 would reach every process
        ::kill(pid_, SIGKILL);
    }
}

ProcessEnd Process::wait()
{
    ProcessEnd end;
    int status = 0;
    if (::wait4(std::exchange(pid_, -1), &status, 0, &end.usage) == -1) {
        throw std::runtime_error("wait failed");
    }
    end.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return end;
}

ProgramResult runProgram(const std::vector<std::string>& arguments)
{
    const TempDir dir;
    ProgramResult result;
    result.end = Process::start(arguments, dir.path("output"), dir.path("errors")).wait();
    result.output = readFile(dir.path("output"));
    result.errors = readFile(dir.path("errors"));
    return result;
}

} // namespace keepsafe_test
