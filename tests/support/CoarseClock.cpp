#include "support/CoarseClock.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace {

timespec coarseClock{};

} // namespace

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (clock != CLOCK_MONOTONIC_COARSE) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    *time = coarseClock;
    return 0;
}

namespace keepsafe_test {

void setCoarseClock(const timespec& time) { coarseClock = time; }

void setCoarseMilliseconds(long milliseconds)
{
    setCoarseClock({milliseconds / 1000, milliseconds % 1000 * 1000000});
}

} // namespace keepsafe_test
