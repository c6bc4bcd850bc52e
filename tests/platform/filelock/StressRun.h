#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESSRUN_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESSRUN_H

#include <string>
#include <vector>

#include "LockHolder.h"

namespace keepsafe_test {

/// A finished run of filelock_stress. The bounds stand in that program, which prints every figure with them;
/// run it by hand for longer.
struct StressRun {
    static constexpr int WITHIN_BOUNDS = 0;
    static constexpr int BOUND_EXCEEDED = 1;

    explicit StressRun(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), FILELOCK_STRESS);
        Program program(arguments);
        output = program.readAll();
        status = program.finish().exitStatus;
    }

    int status;
    std::string output;
};

} // namespace keepsafe_test

#endif
