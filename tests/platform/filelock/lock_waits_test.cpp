// Short versions of the stress runs that bound waits. Not part of sanitizer builds, whose times mean nothing.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "StressRun.h"

namespace keepsafe_test {
namespace {

class LockWaitsTest : public testing::TestWithParam<const char*> {
protected:
    /// A run that is out of its bounds is repeated: whatever else the machine does only lengthens waits, so
    /// the best of some runs tells about the lock.
    static void expectWaitsWithinBounds(std::vector<std::string> arguments)
    {
        constexpr int MOST_RUNS = 5;
        arguments.insert(arguments.end(), {"--seconds", "2", "--slots", GetParam()});
        std::string outputs;
        for (int i = 0; i < MOST_RUNS; ++i) {
            const StressRun run(arguments);
            if (run.status == StressRun::WITHIN_BOUNDS) {
                return;
            }
            outputs += run.output + "exit status " + std::to_string(run.status) + "\n";
        }
        ADD_FAILURE() << "out of bounds in each of " << MOST_RUNS << " runs:\n" << outputs;
    }
};

TEST_P(LockWaitsTest, WriterAmongReadersInTightLoopsDoesNotStarve) { expectWaitsWithinBounds({"fairness"}); }

TEST_P(LockWaitsTest, GreedyWriterDoesNotStarveTheReaders) { expectWaitsWithinBounds({"greedy-writers"}); }

TEST_P(LockWaitsTest, SeveralGreedyWritersDoNotStarveTheReaders)
{
    expectWaitsWithinBounds({"greedy-writers", "--writers", "3"});
}

TEST_P(LockWaitsTest, StoppedReaderDoesNotStopTheOthers) { expectWaitsWithinBounds({"stopped-reader"}); }

TEST_P(LockWaitsTest, StoppedWriterThatWaitsDoesNotStopTheReaders)
{
    expectWaitsWithinBounds({"stopped-writer"});
}

INSTANTIATE_TEST_SUITE_P(Slots, LockWaitsTest, testing::Values("on", "off", "mixed"),
                         [](const auto& slots) { return std::string(slots.param); });

/// Without slots: a writer keeps readers from these by other means.
TEST(LockWaitsControlTest, WithoutTheGateTheWriterStarves)
{
    for (int i = 0; i < 3; ++i) {
        const StressRun control({"fairness", "--seconds", "2", "--gate", "off", "--slots", "off"});
        EXPECT_EQ(control.status, StressRun::BOUND_EXCEEDED) << control.output;
    }
}

} // namespace
} // namespace keepsafe_test
