#ifndef KEEPSAFE_TESTS_SUPPORT_SPAWN_H
#define KEEPSAFE_TESTS_SUPPORT_SPAWN_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace keepsafe_test {

/// What a program is started with.
struct Spawn {
    static constexpr int INHERITED = -1; ///< as the descriptor of the test
    static constexpr int CLOSED = -2;

    std::vector<std::string> arguments; ///< the program first; without a slash it is looked for in PATH
    int input = INHERITED;              ///< descriptors stay the caller's
    int output = INHERITED;
    int errors = INHERITED;
    std::vector<std::string> environment; ///< "NAME=VALUE", added to that of the test
    std::string folder;                   ///< to start in; empty: that of the test
};

/// Starts it as a process of its own, which the caller waits for. Throws `std::system_error`.
pid_t spawn(const Spawn& what);

/// Waits for the end of a process: its exit status, or 128 and the number of the signal that ended it.
int waitForEnd(pid_t pid);

} // namespace keepsafe_test

#endif
