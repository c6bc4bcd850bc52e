#include "RepeatedLines.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Process::RepeatedLines;
using Clock = std::chrono::steady_clock;

/// Asks again and again until the line passes; returns the number of lines held back.
std::uint64_t waitUntilItPasses(RepeatedLines& lines, const std::string& line, std::uint64_t& asked)
{
    for (;;) {
        ++asked;
        if (const auto heldBack = lines.admit(line)) {
            return *heldBack;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST(RepeatedLines, PassOnceASecondWithTheNumberOfThoseHeldBack)
{
    RepeatedLines lines;
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(lines.admit("a line"), std::uint64_t{0});
    std::uint64_t asked = 0;
    const std::uint64_t heldBack = waitUntilItPasses(lines, "a line", asked);
    EXPECT_EQ(heldBack, asked - 1);
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(980)) << "the clock is coarse";
    EXPECT_EQ(lines.admit("a line"), std::nullopt);
    asked = 0;
    EXPECT_EQ(waitUntilItPasses(lines, "a line", asked), asked) << "counted from the line that passed";
}

TEST(RepeatedLines, ThatDifferHoldEachOtherNotBack)
{
    RepeatedLines lines;
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(lines.admit("line " + std::to_string(i)), std::uint64_t{0}) << i;
    }
    EXPECT_EQ(lines.admit("line 0"), std::nullopt);
}

TEST(RepeatedLines, OfManyThreadsAreAllCounted)
{
    constexpr int THREADS = 4;
    constexpr int TIMES = 20000;
    RepeatedLines lines;
    EXPECT_EQ(lines.admit("a line"), std::uint64_t{0});
    std::atomic<std::uint64_t> passed{0};
    std::atomic<std::uint64_t> told{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (int time = 0; time < TIMES; ++time) {
                if (const auto heldBack = lines.admit("a line")) {
                    ++passed;
                    told += *heldBack;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::uint64_t asked = 0;
    told += waitUntilItPasses(lines, "a line", asked);
    EXPECT_EQ(told + passed + 1, std::uint64_t{THREADS} * TIMES + asked);
    EXPECT_LT(passed, 100U);
}

} // namespace
