#ifndef KEEPSAFE_TESTS_SUPPORT_SYSTEMCALLS_H
#define KEEPSAFE_TESTS_SUPPORT_SYSTEMCALLS_H

#include <functional>

namespace keepsafe_test {

/// The number of system calls that a child process makes in `work`, as its tracer sees them. What it needs
/// for that, which is not counted, it does in `prepare`.
long systemCallsOf(const std::function<void()>& prepare, const std::function<void()>& work);

/// The fewest of some runs: whatever is done once in a while falls into some of them only.
long fewestSystemCallsOf(const std::function<void()>& prepare, const std::function<void()>& work);

} // namespace keepsafe_test

#endif
