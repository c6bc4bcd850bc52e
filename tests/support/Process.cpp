#include "support/Process.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/Descriptor.h"
#include "support/TempDir.h"

namespace keepsafe_test {

namespace {

constexpr int EXIT_EXCEPTION = 99;
constexpr int NEW_FILE = O_WRONLY | O_CREAT | O_TRUNC;

int runCatching(const std::function<int()>& work)
{
    try {
        return work();
    } catch (...) {
        return EXIT_EXCEPTION;
    }
}

std::vector<char*> pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        result.push_back(const_cast<char*>(text.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> ownEnvironmentWith(const std::vector<std::string>& added)
{
    std::vector<std::string> result;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        result.emplace_back(*variable);
    }
    result.insert(result.end(), added.begin(), added.end());
    return result;
}

void give(posix_spawn_file_actions_t& actions, int descriptor, int asDescriptor)
{
    if (descriptor == Command::CLOSED) {
        posix_spawn_file_actions_addclose(&actions, asDescriptor);
    } else if (descriptor != Command::INHERITED) {
        posix_spawn_file_actions_adddup2(&actions, descriptor, asDescriptor);
    }
}

pid_t spawn(const Command& command)
{
    const std::vector<std::string> variables = ownEnvironmentWith(command.environment);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    give(actions, command.input, STDIN_FILENO);
    give(actions, command.output, STDOUT_FILENO);
    give(actions, command.errors, STDERR_FILENO);
    if (!command.folder.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, command.folder.c_str());
    }
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, command.arguments.front().c_str(), &actions, nullptr,
                                   pointers(command.arguments).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot start " + command.arguments.front());
    }
    return pid;
}

} // namespace

Process Process::fork(const std::function<int()>& work)
{
    const pid_t pid = ::fork();
    if (pid == -1) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid == 0) {
        ::_exit(runCatching(work));
    }
    return Process(pid);
}

Process Process::start(const Command& command) { return Process(spawn(command)); }

Process Process::start(const std::vector<std::string>& arguments, const std::string& outputFile,
                       const std::string& errorFile)
{
    const Descriptor output = openFile(outputFile, NEW_FILE);
    const Descriptor errors = openFile(errorFile, NEW_FILE);
    return start({arguments, Command::INHERITED, output.get(), errors.get()});
}

Process::Process(Process&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}

Process::~Process()
{
    if (pid_ != -1) {
        kill();
        wait();
    }
}

void Process::signal(int number) const
{
    if (pid_ != -1) { // which would reach every process
        ::kill(pid_, number);
    }
}

void Process::kill() const { signal(SIGKILL); }

bool Process::hasEnded() const
{
    siginfo_t information = {};
    return pid_ == -1 ||
           (::waitid(P_PID, static_cast<id_t>(pid_), &information, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            information.si_pid == pid_);
}

ProcessEnd Process::wait()
{
    const pid_t pid = std::exchange(pid_, -1);
    if (pid == -1) {
        throw std::logic_error("the process was waited for before");
    }
    ProcessEnd end;
    int status = 0;
    while (::wait4(pid, &status, 0, &end.usage) == -1) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "wait4");
        }
    }
    end.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return end;
}

bool holdsInChild(const std::function<bool()>& statement)
{
    Process child = Process::fork([&] {
        alarm(60);
        return statement() ? 0 : 1;
    });
    return child.wait().exitStatus == 0;
}

ProgramResult runProgram(const std::vector<std::string>& arguments, const std::string& input)
{
    // Files take any amount in any order, where pipes would have to be served at once.
    const TempDir dir;
    writeFile(dir.path("input"), input);
    const Descriptor in = openFile(dir.path("input"), O_RDONLY);
    const Descriptor out = openFile(dir.path("output"), NEW_FILE);
    const Descriptor err = openFile(dir.path("errors"), NEW_FILE);
    const ProcessEnd end = Process::start({arguments, in.get(), out.get(), err.get()}).wait();
    return {end, readFile(dir.path("output")), readFile(dir.path("errors"))};
}

} // namespace keepsafe_test
