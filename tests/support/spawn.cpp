#include "support/spawn.h"

#include <cerrno>
#include <system_error>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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
    if (descriptor == Spawn::CLOSED) {
        posix_spawn_file_actions_addclose(&actions, asDescriptor);
    } else if (descriptor != Spawn::INHERITED) {
        posix_spawn_file_actions_adddup2(&actions, descriptor, asDescriptor);
    }
}

} // namespace

pid_t spawn(const Spawn& what)
{
    const std::vector<std::string> variables = ownEnvironmentWith(what.environment);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    give(actions, what.input, STDIN_FILENO);
    give(actions, what.output, STDOUT_FILENO);
    give(actions, what.errors, STDERR_FILENO);
    if (!what.folder.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, what.folder.c_str());
    }
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, what.arguments.front().c_str(), &actions, nullptr,
                                   pointers(what.arguments).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot start " + what.arguments.front());
    }
    return pid;
}

int waitForEnd(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace keepsafe_test
