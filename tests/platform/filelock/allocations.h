#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_ALLOCATIONS_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_ALLOCATIONS_H

#include <cstddef>

namespace keepsafe_test {

/// How often this program and the libraries in it have allocated so far.
std::size_t allocations() noexcept;

} // namespace keepsafe_test

#endif
