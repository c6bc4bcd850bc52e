#include "process/Program.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "io/Activity.h"
#include "output/escape.h"

namespace ksrbac {

namespace {

/// The environment of this process with the variable in place of the one of its name.
std::vector<std::string> environmentWith(const std::string& variable)
{
    const std::size_t nameLength = variable.find('=') + 1;
    std::vector<std::string> variables{variable};
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, variable.c_str(), nameLength) != 0) {
            variables.emplace_back(*entry);
        }
    }
    return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

/// A program starts with default signal dispositions, which this process has changed.
class SpawnAttributes {
public:
    SpawnAttributes() noexcept
    {
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE); // which this program ignores
        sigaddset(&defaults, SIGCHLD);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

    [[nodiscard]] const posix_spawnattr_t* get() const noexcept { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

/// Lets this process wait for its programs, whatever its caller did about SIGCHLD.
class ChildrenAwaited {
public:
    ChildrenAwaited() noexcept
    {
        struct sigaction action = {};
        action.sa_handler = SIG_DFL;
        (void)sigaction(SIGCHLD, &action, &before_);
    }
    ChildrenAwaited(const ChildrenAwaited&) = delete;
    ChildrenAwaited& operator=(const ChildrenAwaited&) = delete;
    ~ChildrenAwaited() { (void)sigaction(SIGCHLD, &before_, nullptr); }

private:
    struct sigaction before_ = {};
};

/// Waits until the program has ended, without releasing its number: no other process can get the signals
/// meant for it.
bool waitUntilEnded(pid_t program)
{
    siginfo_t info;
    int result = 0;
    do {
        result = waitid(P_PID, static_cast<id_t>(program), &info, WEXITED | WNOWAIT);
    } while (result == -1 && errno == EINTR);
    return result == 0;
}

std::string describeEnd(int status)
{
    if (WIFSIGNALED(status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0 ? "" : "ended with status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

std::string Program::run(const std::string& variable, SignalWatch& signals) const
{
    const std::string name = escapeForMessage(command_.front()) + ' ';
    std::vector<std::string> command = command_;
    std::vector<std::string> environment = environmentWith(variable);
    if (signals.caught() != 0) {
        return name + "was not started: interrupted by signal " + std::to_string(signals.caught());
    }
    const Activity::Pause pause;
    const ChildrenAwaited awaited;
    const SpawnAttributes attributes;
    pid_t program = 0;
    const int error = posix_spawnp(&program, command.front().c_str(), nullptr, attributes.get(),
                                   pointers(command).data(), pointers(environment).data());
    if (error != 0) {
        return name + "cannot be started: " + std::generic_category().message(error);
    }
    signals.passOnTo(program);
    const bool hasEnded = waitUntilEnded(program);
    signals.passOnTo(0);
    int status = 0;
    if (!hasEnded || waitpid(program, &status, 0) != program) {
        return name + "cannot be waited for: " + std::generic_category().message(errno);
    }
    const std::string end = describeEnd(status);
    return end.empty() ? "" : name + end;
}

} // namespace ksrbac
