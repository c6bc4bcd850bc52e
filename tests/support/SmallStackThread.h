#ifndef KEEPSAFE_TESTS_JWT_SMALLSTACKTHREAD_H
#define KEEPSAFE_TESTS_JWT_SMALLSTACKTHREAD_H

#include <functional>

namespace keepsafe_test {

/// Runs the work to its end on its own thread with a stack of 256 KiB, as server processes give their
/// workers.
void runOnSmallStack(const std::function<void()>& work);

} // namespace keepsafe_test

#endif
