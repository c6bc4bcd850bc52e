#ifndef KEEPSAFE_TESTS_SANDBOX_SUPPORT_PROCESS_H
#define KEEPSAFE_TESTS_SANDBOX_SUPPORT_PROCESS_H

#include <functional>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/types.h>

namespace keepsafe_test {

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
    /// A program with its arguments, its output in the files.
    static Process start(const std::vector<std::string>& arguments, const std::string& outputFile,
                         const std::string& errorFile);

    Process(Process&& other) noexcept;
    Process& operator=(Process&&) = delete;
    ~Process();

    void kill() const;
    /// Asks it to end (SIGTERM).
    void terminate() const;
    /// Whether there is nothing left to wait for.
    [[nodiscard]] bool hasEnded() const;
    ProcessEnd wait();

private:
    explicit Process(pid_t pid) : pid_(pid) {}
    pid_t pid_;
};

/// What a program did.
struct ProgramResult {
    ProcessEnd end;
    std::string output;
    std::string errors;
};

/// Runs a program to its end.
ProgramResult runProgram(const std::vector<std::string>& arguments);

} // namespace keepsafe_test

#endif
