// Short versions of the stress runs in which it matters what happens, not how long it takes: each with slots,
// without, and with both among the readers.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "StressRun.h"

namespace keepsafe_test {
namespace {

class LockStressTest : public testing::TestWithParam<const char*> {
protected:
    static void expectWell(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.end(), {"--slots", GetParam()});
        const StressRun run(arguments);
        EXPECT_EQ(run.status, StressRun::WITHIN_BOUNDS) << run.output;
    }
};

TEST_P(LockStressTest, ProcessesKilledAtRandomLeaveNoTornDataAndNoFiles)
{
    expectWell({"kills", "--seconds", "3", "--writers", "2", "--processes", "4"});
}

TEST_P(LockStressTest, ChildrenForkedUnderManyThreadsInheritNoHold)
{
    expectWell({"forks", "--seconds", "2", "--threads", "8"});
}

TEST_P(LockStressTest, DamageToTheReadersFolderIsSurvived) { expectWell({"folder", "--seconds", "1"}); }

TEST_P(LockStressTest, CrowdOfShortLivedReadersLeavesNothingBehind)
{
    expectWell({"crowd", "--seconds", "2"});
}

TEST_P(LockStressTest, ThreadsBeyondTheSlotsTakeTheKernelLock) { expectWell({"threads", "--seconds", "2"}); }

INSTANTIATE_TEST_SUITE_P(Slots, LockStressTest, testing::Values("on", "off", "mixed"),
                         [](const auto& slots) { return std::string(slots.param); });

} // namespace
} // namespace keepsafe_test
