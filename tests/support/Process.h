#ifndef KEEPSAFE_TESTS_SUPPORT_PROCESS_H
#define KEEPSAFE_TESTS_SUPPORT_PROCESS_H

#include <functional>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/types.h>

namespace keepsafe_test {

/// A program and what it is started with.
struct Command {
    static constexpr int INHERITED = -1; ///< as the descriptor of the test
    static constexpr int CLOSED = -2;

    std::vector<std::string> arguments; ///< the program first; without a slash it is looked for in PATH
    int input = INHERITED;              ///< descriptors stay the caller's
    int output = INHERITED;
    int errors = INHERITED;
    std::vector<std::string> environment = {}; ///< "NAME=VALUE", added to that of the test
    std::string folder = {};                   ///< to start in; empty: that of the test
};

/// How a process ended.
struct ProcessEnd {
    int exitStatus = -1; ///< -1: it was ended by a signal
    int signal = 0;
    rusage usage = {};
};

/// A child process; killed and waited for at the end when it still runs.
class Process {
public:
    /// A copy of this process that runs `work` and exits with what it returns. Exceptions exit with 99.
    static Process fork(const std::function<int()>& work);
    /// Throws `std::system_error` when the program cannot be started.
    static Process start(const Command& command);
    /// A program with its arguments, its output in new files.
    static Process start(const std::vector<std::string>& arguments, const std::string& outputFile,
                         const std::string& errorFile);

    Process(Process&& other) noexcept;
    Process& operator=(Process&&) = delete;
    ~Process();

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }
    void signal(int number) const;
    void kill() const;
    /// Whether there is nothing left to wait for.
    [[nodiscard]] bool hasEnded() const;
    ProcessEnd wait();

private:
    explicit Process(pid_t pid) : pid_(pid) {}
    pid_t pid_; ///< -1: it was waited for
};

/// Whether the statement holds in a forked copy of this process; not when it throws or takes a minute.
bool holdsInChild(const std::function<bool()>& statement);

/// What a program did.
struct ProgramResult : ProcessEnd {
    std::string output;
    std::string errors;
};

/// Runs a program to its end, with the text as its standard input.
ProgramResult runProgram(const std::vector<std::string>& arguments, const std::string& input = "");

} // namespace keepsafe_test

#endif
