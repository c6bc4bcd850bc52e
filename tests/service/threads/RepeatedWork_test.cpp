#include "threads/RepeatedWork.h"

#include <atomic>
#include <chrono>
#include <future>
#include <optional>

#include <gtest/gtest.h>

namespace {

using keepsafe_service::RepeatedWork;
using std::chrono::steady_clock;
using namespace std::chrono_literals;

TEST(RepeatedWorkTest, IsDoneAgainAndAgainAfterPauses)
{
    std::atomic<int> done = 0;
    std::promise<void> thrice;
    const auto begin = steady_clock::now();
    const RepeatedWork work({20ms, 10ms}, [&] {
        if (++done == 3) {
            thrice.set_value();
        }
    });
    thrice.get_future().wait();
    EXPECT_GE(steady_clock::now() - begin, 40ms);
}

TEST(RepeatedWorkTest, BeginsAtOnceWithoutAFirstPause)
{
    std::promise<void> done;
    const RepeatedWork work({0ms, 1h}, [&done] { done.set_value(); });
    EXPECT_EQ(done.get_future().wait_for(1min), std::future_status::ready);
}

TEST(RepeatedWorkTest, EndsAPauseWithTheObject)
{
    const auto begin = steady_clock::now();
    std::optional<RepeatedWork> work;
    work.emplace(RepeatedWork::Pauses{1h, 1h}, [] { ADD_FAILURE() << "the pause was cut short"; });
    work.reset();
    EXPECT_LT(steady_clock::now() - begin, 1min);
}

TEST(RepeatedWorkTest, IsFinishedBeforeTheObjectEnds)
{
    std::promise<void> begun;
    std::promise<void> mayEnd;
    std::atomic<bool> isDone = false;
    std::optional<RepeatedWork> work;
    work.emplace(RepeatedWork::Pauses{0ms, 1h}, [&] {
        begun.set_value();
        mayEnd.get_future().wait();
        isDone = true;
    });
    begun.get_future().wait();
    const auto ending = std::async(std::launch::async, [&] {
        work.reset();
        EXPECT_TRUE(isDone);
    });
    mayEnd.set_value();
    ending.wait();
}

} // namespace
