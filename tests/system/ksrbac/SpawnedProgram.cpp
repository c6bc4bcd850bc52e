#include "SpawnedProgram.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "io/FileDescriptor.h"
#include "support/TempDir.h"

namespace keepsafe_test {

namespace {

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
    if (descriptor == StandardDescriptors::CLOSED) {
        posix_spawn_file_actions_addclose(&actions, asDescriptor);
    } else {
        posix_spawn_file_actions_adddup2(&actions, descriptor, asDescriptor);
    }
}

ksrbac::FileDescriptor openFile(const std::string& path, int flags)
{
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor == -1) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return ksrbac::FileDescriptor(descriptor);
}

} // namespace

SpawnedProgram::SpawnedProgram(const std::vector<std::string>& arguments,
                               const StandardDescriptors& descriptors,
                               const std::vector<std::string>& environment)
    : pid_(-1)
{
    const std::vector<std::string> variables = ownEnvironmentWith(environment);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    give(actions, descriptors.input, STDIN_FILENO);
    give(actions, descriptors.output, STDOUT_FILENO);
    give(actions, descriptors.errors, STDERR_FILENO);
    const int error = posix_spawn(&pid_, arguments.front().c_str(), &actions, nullptr,
                                  pointers(arguments).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), arguments.front());
    }
}

SpawnedProgram::~SpawnedProgram()
{
    if (pid_ != -1) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

ProgramResult SpawnedProgram::wait()
{
    int status = 0;
    if (waitpid(pid_, &status, 0) != pid_) {
        throw std::system_error(errno, std::generic_category(), "waitpid");
    }
    pid_ = -1;
    ProgramResult result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

ProgramResult runToEnd(const std::vector<std::string>& arguments, const std::string& input)
{
    // Files take any amount in any order, where pipes would have to be served at once.
    const TempDir dir;
    writeFile(dir.path("input"), input);
    const auto in = openFile(dir.path("input"), O_RDONLY);
    const auto out = openFile(dir.path("output"), O_WRONLY | O_CREAT);
    const auto err = openFile(dir.path("errors"), O_WRONLY | O_CREAT);
    SpawnedProgram program(arguments, {in.get(), out.get(), err.get()});
    ProgramResult result = program.wait();
    result.output = readFile(dir.path("output"));
    result.errors = readFile(dir.path("errors"));
    return result;
}

} // namespace keepsafe_test
