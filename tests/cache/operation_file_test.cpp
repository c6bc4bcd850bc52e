/// The lock under which the operation cache's file is read. This program stands in for the function that
/// gives a value's number: a test can look around while operations are added.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include <boost/numeric/conversion/cast.hpp>
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "platform/filelock/lock_descriptors.h"
#include "support/TempDir.h"

namespace {

std::function<void()> onEachNumber;

} // namespace

json_int_t json_integer_value(const json_t* value)
{
    static auto* const original =
        reinterpret_cast<decltype(&json_integer_value)>(dlsym(RTLD_NEXT, "json_integer_value"));
    if (onEachNumber) {
        onEachNumber();
    }
    return original(value);
}

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using namespace std::chrono_literals;

class OperationFileTest : public testing::Test {
protected:
    OperationFileTest() { write(R"({"|A|": 1, "|B|": 2, "|C|": 3})"); }
    ~OperationFileTest() override { onEachNumber = nullptr; }

    static void write(const std::string& json) { writeFile(OperationCache::fileName(), json); }
    static FileLock lock()
    {
        return FileLockManager::instance().getLock(OperationCache::fileName() + ".lck",
                                                   FileLock::MissingFile::IsCreated);
    }
    /// Whether another thread can take the lock now.
    static bool canBeTaken(int type)
    {
        return std::async(std::launch::async,
                          [type] {
                              const FileLock taken = lock();
                              try {
                                  const FileLockGuard guard(taken, type, 0, FileLock::DEFAULT_INTERVAL);
                                  return true;
                              } catch (const EC_exception&) {
                                  return false;
                              }
                          })
            .get();
    }

    TempRoot root_;
    OperationCache cache_;
};

TEST_F(OperationFileTest, IsLockedUntilTheLastOperationIsAdded)
{
    int numbers = 0;
    onEachNumber = [&] {
        ++numbers;
        EXPECT_FALSE(canBeTaken(FileLock::EXCLUSIVE));
    };
    cache_.load();
    EXPECT_EQ(numbers, 3);
    EXPECT_TRUE(canBeTaken(FileLock::EXCLUSIVE));
}

TEST_F(OperationFileTest, IsReadByManyAtOnce)
{
    onEachNumber = [] { EXPECT_TRUE(canBeTaken(FileLock::SHARED)); };
    cache_.load();
    onEachNumber = nullptr;
    const FileLock shared = lock();
    auto held = std::make_unique<FileLockGuard>(shared, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                                FileLock::DEFAULT_INTERVAL);
    auto loaded = std::async(std::launch::async, [this] { cache_.load(); });
    EXPECT_EQ(loaded.wait_for(20s), std::future_status::ready);
    held.reset();
}

TEST_F(OperationFileTest, IsWaitedForWhileItIsWrittenHoweverLong)
{
    const FileLock writers = lock();
    auto held = std::make_unique<FileLockGuard>(writers, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                                FileLock::DEFAULT_INTERVAL);
    auto loaded = std::async(std::launch::async, [this] { cache_.load(); });
    EXPECT_EQ(loaded.wait_for(1200ms), std::future_status::timeout);
    held.reset();
    EXPECT_NO_THROW(loaded.get());
}

TEST_F(OperationFileTest, IsNotWaitedForToFindAKnownOperation)
{
    cache_.load();
    const FileLock writers = lock();
    auto held = std::make_unique<FileLockGuard>(writers, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                                FileLock::DEFAULT_INTERVAL);
    auto unknown = std::async(std::launch::async, [this] { return cache_[ObjectNamespace("D")]; });
    auto all = std::async(std::launch::async, [this] { cache_.reloadIfChanged(); });
    EXPECT_EQ(unknown.wait_for(50ms), std::future_status::timeout);
    EXPECT_EQ(all.wait_for(50ms), std::future_status::timeout);
    auto known = std::async(std::launch::async, [this] { return cache_[ObjectNamespace("B")]->offset; });
    EXPECT_EQ(known.wait_for(20s), std::future_status::ready);
    held.reset();
    EXPECT_EQ(known.get(), 2);
    EXPECT_FALSE(unknown.get());
    EXPECT_NO_THROW(all.get());
}

TEST_F(OperationFileTest, IsReadOnceForAllWhoFindItChanged)
{
    std::atomic<int> numbers{0};
    onEachNumber = [&numbers] { ++numbers; };
    const FileLock writers = lock();
    auto held = std::make_unique<FileLockGuard>(writers, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                                FileLock::DEFAULT_INTERVAL);
    auto one = std::async(std::launch::async, [this] { cache_.reloadIfChanged(); });
    auto other = std::async(std::launch::async, [this] { cache_.reloadIfChanged(); });
    EXPECT_EQ(one.wait_for(50ms), std::future_status::timeout);
    EXPECT_EQ(other.wait_for(50ms), std::future_status::timeout);
    held.reset();
    one.get();
    other.get();
    EXPECT_EQ(numbers, 3);
}

TEST_F(OperationFileTest, ItsLockIsClosedInProgramsThatAreStarted)
{
    const std::string path = OperationCache::fileName() + ".lck";
    std::size_t found = 0;
    onEachNumber = [&] {
        for (const int descriptor : descriptorsOf(path)) {
            ++found;
            EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        }
    };
    cache_.load();
    EXPECT_NE(found, 0U);
}

TEST_F(OperationFileTest, ANumberOfAKnownOperationMustFitToo)
{
    cache_.load();
    write(R"({"|A|": 2147483648})");
    EXPECT_THROW(cache_.load(), boost::numeric::positive_overflow);
    EXPECT_EQ(cache_[ObjectNamespace("A")]->offset, 1);
}

} // namespace
} // namespace keepsafe_test
