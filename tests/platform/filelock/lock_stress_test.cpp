// Short versions of the stress runs in which it matters what happens, not how long it takes.

#include <gtest/gtest.h>

#include "StressRun.h"

namespace keepsafe_test {
namespace {

TEST(LockStressTest, ProcessesKilledAtRandomLeaveNoTornData)
{
    const StressRun run({"kills", "--seconds", "4", "--writers", "2", "--processes", "2"});
    EXPECT_EQ(run.status, StressRun::WITHIN_BOUNDS) << run.output;
}

TEST(LockStressTest, ChildrenForkedUnderManyThreadsInheritNoHold)
{
    const StressRun run({"forks", "--seconds", "3", "--threads", "8"});
    EXPECT_EQ(run.status, StressRun::WITHIN_BOUNDS) << run.output;
}

} // namespace
} // namespace keepsafe_test
