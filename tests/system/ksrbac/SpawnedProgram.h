#ifndef KEEPSAFE_TESTS_SYSTEM_KSRBAC_SPAWNEDPROGRAM_H
#define KEEPSAFE_TESTS_SYSTEM_KSRBAC_SPAWNEDPROGRAM_H

#include <string>
#include <vector>

#include <sys/types.h>

#include "support/spawn.h"

namespace keepsafe_test {

/// What a program that has ended left behind.
struct ProgramResult {
    int status = -1; ///< exit status, or 128 and the signal's number
    std::string output;
    std::string errors;
};

/// Where the three standard descriptors of a program lead. Owned by the caller.
struct StandardDescriptors {
    static constexpr int CLOSED = Spawn::CLOSED;
    int input;
    int output;
    int errors;
};

/// A program that runs as a process of its own. Ends it when it is still there at destruction.
class SpawnedProgram {
public:
    /// `arguments` begin with the path of the program; `environment` is added to that of the test.
    SpawnedProgram(const std::vector<std::string>& arguments, const StandardDescriptors& descriptors,
                   const std::vector<std::string>& environment = {});
    ~SpawnedProgram();
    SpawnedProgram(const SpawnedProgram&) = delete;
    SpawnedProgram& operator=(const SpawnedProgram&) = delete;

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }
    /// Waits for its end; the texts of the result are empty.
    ProgramResult wait();

private:
    pid_t pid_;
};

/// Runs a program to its end, with the text as its standard input.
ProgramResult runToEnd(const std::vector<std::string>& arguments, const std::string& input = "");

} // namespace keepsafe_test

#endif
