#include "ThreadIndex.h"

#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Tessara::Keepsafe::Platform::filelock {
namespace {

std::uint32_t numberOfAnotherThread()
{
    std::uint32_t number = 0;
    std::thread([&] { number = ThreadIndex::ofThisThread(); }).join();
    return number;
}

/// The numbers of so many threads that live at the same time.
std::multiset<std::uint32_t> numbersOf(std::size_t count)
{
    std::mutex mutex;
    std::condition_variable all;
    std::multiset<std::uint32_t> numbers;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            const std::uint32_t number = ThreadIndex::ofThisThread();
            std::unique_lock<std::mutex> guard(mutex);
            numbers.insert(number);
            all.notify_all();
            all.wait(guard, [&] { return numbers.size() == count; });
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return numbers;
}

TEST(ThreadIndexTest, ThreadKeepsItsNumber)
{
    EXPECT_EQ(ThreadIndex::ofThisThread(), ThreadIndex::ofThisThread());
}

TEST(ThreadIndexTest, NumbersOfLivingThreadsDiffer)
{
    const std::multiset<std::uint32_t> numbers = numbersOf(100);
    EXPECT_EQ(std::set<std::uint32_t>(numbers.begin(), numbers.end()).size(), 100U);
}

TEST(ThreadIndexTest, NumbersAreGivenOutAgainTheSmallestFirst)
{
    const std::uint32_t first = numberOfAnotherThread();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(numberOfAnotherThread(), first);
    }
}

TEST(ThreadIndexTest, ThreadsBeyondTheCapacityHaveNone)
{
    ASSERT_NE(ThreadIndex::ofThisThread(), ThreadIndex::NONE); // counts among the living
    const std::multiset<std::uint32_t> numbers = numbersOf(ThreadIndex::CAPACITY + 9);
    EXPECT_EQ(numbers.count(ThreadIndex::NONE), 10U);
    EXPECT_EQ(std::set<std::uint32_t>(numbers.begin(), numbers.end()).size(), ThreadIndex::CAPACITY);
    EXPECT_NE(numberOfAnotherThread(), ThreadIndex::NONE) << "they came back";
}

struct AsksOnItsWayOut {
    std::uint32_t* answer = nullptr;
    ~AsksOnItsWayOut()
    {
        if (answer != nullptr) {
            *answer = ThreadIndex::ofThisThread();
        }
    }
};

TEST(ThreadIndexTest, ThreadThatHasGivenItsNumberBackHasNone)
{
    std::uint32_t answer = 0;
    std::thread([&] {
        static thread_local AsksOnItsWayOut last; // made first, so it goes last
        last.answer = &answer;
        EXPECT_NE(ThreadIndex::ofThisThread(), ThreadIndex::NONE);
    }).join();
    EXPECT_EQ(answer, ThreadIndex::NONE);
}

} // namespace
} // namespace Tessara::Keepsafe::Platform::filelock
