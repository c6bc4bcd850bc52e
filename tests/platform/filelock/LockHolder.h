#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCKHOLDER_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCKHOLDER_H

#include <string>
#include <vector>

#include "support/Descriptor.h"
#include "support/Process.h"

namespace keepsafe_test {

/// A program in a second process, with pipes to its standard input and output. Killed at the end if it still
/// runs.
class Program {
public:
    explicit Program(const std::vector<std::string>& arguments, Pipe toProgram = {}, Pipe fromProgram = {});

    /// Its next line; empty when it has ended.
    std::string readLine() { return keepsafe_test::readLine(output_); }
    /// All that it still says.
    std::string readAll() { return keepsafe_test::readAll(output_); }
    void signal(int number) const { process_.signal(number); }
    /// Ends its standard input and waits for its end.
    ProcessEnd finish();
    /// Kills it without a chance to clean up.
    void kill();

private:
    Descriptor input_;
    Descriptor output_;
    Process process_;
};

/// A second process that holds a lock, or tried to.
class LockHolder {
public:
    enum class Options { None, Create, Unprivileged, CreateUnprivileged };

    LockHolder(const std::string& path, const std::string& type, int timeoutMs,
               Options options = Options::None);

    /// "held", "timeout" or "unavailable". Waits until that is known.
    std::string outcome() { return program_.readLine(); }
    /// Lets it release the lock and end.
    void release() { program_.finish(); }
    void kill() { program_.kill(); }
    [[nodiscard]] Program& program() noexcept { return program_; }

private:
    Program program_;
};

/// What another process's attempt to take the lock at once comes to. The lock is released again.
std::string tryInOtherProcess(const std::string& path, const std::string& type);

} // namespace keepsafe_test

#endif
