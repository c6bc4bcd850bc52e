#include "ConnectTurn.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Process.h"

namespace {

using Clock = std::chrono::steady_clock;
using Tessara::Dal::ConnectTurn;

TEST(ConnectTurn, IsThatOfOneThreadAtATime)
{
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                const ConnectTurn turn;
                most = std::max<int>(most, ++inside);
                std::this_thread::yield();
                --inside;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(most, 1);
}

TEST(ConnectTurn, KeepsNobodyOutWhenItLastsLong)
{
    const ConnectTurn slow;
    const auto start = Clock::now();
    {
        const ConnectTurn second;
        EXPECT_GE(Clock::now() - start, ConnectTurn::LONGEST / 2);
    }
    const auto later = Clock::now();
    const ConnectTurn third;
    EXPECT_LT(Clock::now() - later, std::chrono::seconds(10));
}

TEST(ConnectTurn, IsNotEndedByAnotherThatLastedLong)
{
    auto slow = std::make_unique<ConnectTurn>();
    const ConnectTurn second;
    const auto start = Clock::now();
    slow.reset();
    const ConnectTurn third;
    EXPECT_GE(Clock::now() - start, ConnectTurn::LONGEST / 2);
}

TEST(ConnectTurn, IsFreeInAForkedChild)
{
    const ConnectTurn held;
    EXPECT_TRUE(keepsafe_test::holdsInChild([] {
        const auto start = Clock::now();
        const ConnectTurn turn;
        return Clock::now() - start < ConnectTurn::LONGEST;
    }));
}

} // namespace
