#include "ReaderCount.h"

#include <chrono>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

constexpr bool NESTED = true;
constexpr bool OUTERMOST = false;

/// A thread that enters, which may wait for others.
class Newcomer {
public:
    explicit Newcomer(ReaderCount& count) : thread_([&] { entry_ = count.enter(OUTERMOST); }) {}
    ReaderCount::Entry entry()
    {
        thread_.join();
        return *entry_;
    }

private:
    std::optional<ReaderCount::Entry> entry_;
    std::thread thread_;
};

TEST(ReaderCountTest, FirstReaderTakesAndLastOneReleases)
{
    ReaderCount count;
    EXPECT_TRUE(count.enter(OUTERMOST).first);
    count.takingSucceeded();
    EXPECT_FALSE(count.enter(OUTERMOST).first);
    EXPECT_FALSE(count.leave());
    EXPECT_TRUE(count.leave());
    count.released();
    EXPECT_TRUE(count.enter(OUTERMOST).first);
}

TEST(ReaderCountTest, FailureLeavesNoReader)
{
    ReaderCount count;
    EXPECT_TRUE(count.enter(OUTERMOST).first);
    count.takingFailed();
    EXPECT_TRUE(count.enter(OUTERMOST).first);
}

TEST(ReaderCountTest, WhoComesWhileTheLockIsTakenHasItToo)
{
    ReaderCount count;
    EXPECT_TRUE(count.enter(OUTERMOST).first);
    Newcomer newcomer(count);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    count.takingSucceeded();
    EXPECT_FALSE(newcomer.entry().first);
    EXPECT_FALSE(count.leave());
    EXPECT_TRUE(count.leave());
}

TEST(ReaderCountTest, WhoComesWhileTakingFailsTriesForHimself)
{
    ReaderCount count;
    EXPECT_TRUE(count.enter(OUTERMOST).first);
    Newcomer newcomer(count);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    count.takingFailed();
    EXPECT_TRUE(newcomer.entry().first);
}

TEST(ReaderCountTest, WhoComesDuringTheReleaseIsAFirstReaderAfterIt)
{
    ReaderCount count;
    count.enter(OUTERMOST);
    count.takingSucceeded();
    EXPECT_TRUE(count.leave());
    Newcomer newcomer(count);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    count.released();
    EXPECT_TRUE(newcomer.entry().first);
}

TEST(ReaderCountTest, EveryEighthAcquisitionAsksAboutTheGateAndNestedOnesDoNotCount)
{
    ReaderCount count;
    for (int round = 0; round < 300; ++round) {
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(count.enter(OUTERMOST).asksGate, i == 0);
            count.takingSucceeded();
            EXPECT_FALSE(count.enter(NESTED).first);
            EXPECT_FALSE(count.leave());
            EXPECT_TRUE(count.leave());
            count.released();
        }
    }
}

TEST(ReaderCountTest, TellsHowManyAcquisitionsAreHeld)
{
    ReaderCount count;
    EXPECT_EQ(count.readers(), 0U);
    count.enter(OUTERMOST);
    count.takingSucceeded();
    EXPECT_EQ(count.readers(), 1U);
    count.enter(NESTED);
    EXPECT_EQ(count.readers(), 2U);
    EXPECT_FALSE(count.leave());
    EXPECT_EQ(count.readers(), 1U);
    EXPECT_TRUE(count.leave());
    EXPECT_EQ(count.readers(), 0U) << "while it is released";
}

TEST(ReaderCountTest, ForgetsItsReadersInAChild)
{
    ReaderCount count;
    count.enter(OUTERMOST);
    count.forget();
    EXPECT_EQ(count.readers(), 0U);
    EXPECT_TRUE(count.enter(OUTERMOST).first);
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
