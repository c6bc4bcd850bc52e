#ifndef KEEPSAFE_TESTS_SUPPORT_COARSECLOCK_H
#define KEEPSAFE_TESTS_SUPPORT_COARSECLOCK_H

#include <ctime>

/// \file
/// The coarse clock, as the test sets it. For programs that have CoarseClock.cpp among their sources, which
/// stands in for the C library's function.

namespace keepsafe_test {

void setCoarseClock(const timespec& time);
void setCoarseMilliseconds(long milliseconds);

} // namespace keepsafe_test

#endif
