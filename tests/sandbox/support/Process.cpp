#include "sandbox/support/Process.h"

#include <csignal>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TempDir.h"
#include "support/spawn.h"

namespace keepsafe_test {

namespace {

constexpr int EXIT_EXCEPTION = 99;

int runCatching(const std::function<int()>& work)
{
    try {
        return work();
    } catch (...) {
        return EXIT_EXCEPTION;
    }
}

/// A new file for a program to write to.
class OutputFile {
public:
    explicit OutputFile(const std::string& path)
        : descriptor_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600))
    {
    }
    ~OutputFile() { ::close(descriptor_); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

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
    const OutputFile output(outputFile);
    const OutputFile errors(errorFile);
    return Process(spawn({arguments, Spawn::INHERITED, output.descriptor(), errors.descriptor(), {}, {}}));
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

void Process::terminate() const
{
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
    }
}

bool Process::hasEnded() const
{
    siginfo_t information = {};
    return pid_ <= 0 ||
           (::waitid(P_PID, static_cast<id_t>(pid_), &information, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            information.si_pid == pid_);
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
