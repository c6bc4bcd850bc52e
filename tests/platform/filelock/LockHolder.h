#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCKHOLDER_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_LOCKHOLDER_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace keepsafe_test {

/// A program in a second process, with pipes to its standard input and output. Killed at the end if it still
/// runs.
class Program {
public:
    explicit Program(const std::vector<std::string>& arguments);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Its next line; empty when it has ended.
    std::string readLine();
    /// All that it still says.
    std::string readAll();
    void signal(int number) const;
    /// Ends its standard input and waits for its end: the exit status, or 128 and the signal's number.
    int finish();
    /// Kills it without a chance to clean up.
    void kill();

private:
    void closePipes() noexcept;

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
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
