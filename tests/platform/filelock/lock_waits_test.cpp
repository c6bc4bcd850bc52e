// Short versions of the stress runs that bound waits. Not part of sanitizer builds, whose times mean nothing.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "StressRun.h"

namespace keepsafe_test {
namespace {

/// A run that is out of its bounds is repeated: whatever else the machine does only lengthens waits, so the
/// best of some runs tells about the lock.
void expectWaitsWithinBounds(const std::vector<std::string>& arguments)
{
    constexpr int MOST_RUNS = 5;
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

TEST(LockWaitsTest, WriterAmongReadersInTightLoopsDoesNotStarve)
{
    expectWaitsWithinBounds({"fairness", "--seconds", "2"});
}

TEST(LockWaitsTest, WithoutTheGateTheWriterStarves)
{
    for (int i = 0; i < 3; ++i) {
        const StressRun control({"fairness", "--seconds", "2", "--gate", "off"});
        EXPECT_EQ(control.status, StressRun::BOUND_EXCEEDED) << control.output;
    }
}

TEST(LockWaitsTest, GreedyWriterDoesNotStarveTheReaders)
{
    expectWaitsWithinBounds({"greedy-writers", "--seconds", "2"});
}

TEST(LockWaitsTest, SeveralGreedyWritersDoNotStarveTheReaders)
{
    expectWaitsWithinBounds({"greedy-writers", "--seconds", "2", "--writers", "3"});
}

TEST(LockWaitsTest, StoppedReaderDoesNotStopTheOthers)
{
    expectWaitsWithinBounds({"stopped-reader", "--seconds", "2"});
}

TEST(LockWaitsTest, StoppedWriterThatWaitsDoesNotStopTheReaders)
{
    expectWaitsWithinBounds({"stopped-writer", "--seconds", "2"});
}

} // namespace
} // namespace keepsafe_test
