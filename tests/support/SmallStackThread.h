#ifndef KEEPSAFE_TESTS_SUPPORT_SMALLSTACKTHREAD_H
#define KEEPSAFE_TESTS_SUPPORT_SMALLSTACKTHREAD_H

#include <cstddef>
#include <functional>

namespace keepsafe_test {

/// Runs the work to its end on its own thread with a small stack, by default of 256 KiB, as server processes
/// give their workers.
void runOnSmallStack(const std::function<void()>& work, std::size_t kib = 256);

} // namespace keepsafe_test

#endif
