// What a check allocates: counted by replacing the program's allocation functions.

#include <atomic>
#include <cstdlib>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace {

thread_local bool counting = false;
thread_local int allocations = 0;
thread_local int failAt = -1; ///< number of the one allocation that fails; -1: none
std::atomic<long> living{0};  ///< blocks of all threads that are not released

void* allocate(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept
{
    if (counting && allocations++ == failAt) {
        return nullptr;
    }
    ++living;
    return std::malloc(size == 0 ? 1 : size);
}

void release(void* memory) noexcept
{
    living -= memory == nullptr ? 0 : 1;
    std::free(memory);
}

void* allocate(std::size_t size)
{
    if (void* memory = allocate(size, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}

/// Counts this thread's allocations while it lives, and makes one of them fail when asked to.
class AllocationCount {
public:
    explicit AllocationCount(int failing = -1)
    {
        allocations = 0;
        failAt = failing;
        counting = true;
    }
    ~AllocationCount() { stop(); }
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    int stop()
    {
        counting = false;
        return allocations;
    }
};

} // namespace

// Not inlined: g++ otherwise takes the pair of an inlined and a called one for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) { return allocate(size); }
[[gnu::noinline]] void* operator new[](std::size_t size) { return allocate(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& nothrow) noexcept
{
    return allocate(size, nothrow);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept
{
    return allocate(size, nothrow);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { release(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { release(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { release(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
[[gnu::noinline]] void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::OperationCache;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

class AllocationTest : public testing::Test {
protected:
    AllocationTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace("A")].children[17] = {4};
        model.objects[ObjectNamespace("A", "B", "C", "D")].own[3] = {4};
        CacheWriter(model, {}).write(root_.path("cache"));
        writeFile(OperationCache::fileName(), R"({"|OPERATIONS|VIEW|": 4})");
        cache_ = boost::make_shared<const AccessCache>(Manifest("id", root_.path("cache")));
        operationCache_.load();
    }

    TempRoot root_;
    boost::shared_ptr<const AccessCache> cache_;
    OperationCache operationCache_;
};

TEST_F(AllocationTest, ACheckAllocatesNothingAfterTheFirstOne)
{
    const DiskAccessChecker checker(cache_, {-4, 3, 8, 17}, Operation{4}, 0);
    const ObjectNamespace object("A", "B", "C", "D", "E", "F");
    ASSERT_TRUE(checker.checkAccess(object));
    AllocationCount count;
    const bool allowed = checker.checkAccess(object);
    EXPECT_EQ(count.stop(), 0);
    EXPECT_TRUE(allowed);
}

TEST_F(AllocationTest, ReadingAllocatesNothing)
{
    const auto reader = cache_->lock();
    const ObjectNamespace object("A", "B", "C", "D");
    object.str();
    AllocationCount count;
    const bool held = reader.getOperationBit(object, 3, Operation{4});
    EXPECT_EQ(count.stop(), 0);
    EXPECT_TRUE(held);
}

TEST_F(AllocationTest, ACheckerThatCannotBeAllocatedIsLoggedAndStillReturnsZero)
{
    DiskAccessControlClient client(ObjectNamespace(), cache_, operationCache_);
    const ObjectNamespace view("OPERATIONS", "VIEW");
    for (const std::set<int>& roles : {std::set<int>{17}, std::set<int>{0}}) {
        boost::shared_ptr<const AccessChecker> checker =
            boost::make_shared<DiskAccessChecker>(cache_, roles, Operation{4}, 0);
        const auto before = checker;
        const CapturedLog log;
        int status = -1;
        {
            const AllocationCount count(0);
            status = client.createAccessChecker(roles, view, 0, checker);
        }
        EXPECT_EQ(status, 0);
        EXPECT_EQ(checker, before);
        EXPECT_THAT(log.lines(),
                    testing::ElementsAre(LogLine{16, "DiskAccessControlClient::createAccessChecker",
                                                 "Failed to create AccessChecker, error=36"}));
    }
}

template <typename Client>
int allocationsOfAChecker(Client& client, const std::set<int>& roles, const ObjectNamespace& operation)
{
    boost::shared_ptr<const AccessChecker> checker;
    AllocationCount count;
    (void)client.createAccessChecker(roles, operation, 0, checker);
    return count.stop();
}

int allocationsOfACheckerForAToken(StubAccessControlClient& client, const ObjectNamespace& operation)
{
    const std::string token;
    boost::shared_ptr<const AccessChecker> checker;
    AllocationCount count;
    (void)client.createAccessChecker(nullptr, token, operation, 0, checker);
    return count.stop();
}

TEST_F(AllocationTest, ACheckerAndItsCountAreOneAllocation)
{
    DiskAccessControlClient client(ObjectNamespace(), cache_, operationCache_);
    StubAccessControlClient stub;
    const ObjectNamespace view("OPERATIONS", "VIEW");
    for (const std::set<int>& roles : {std::set<int>{17}, std::set<int>{0}}) {
        EXPECT_EQ(allocationsOfAChecker(client, roles, view), 1);
        EXPECT_EQ(allocationsOfAChecker(stub, roles, view), 1);
    }
    EXPECT_EQ(allocationsOfACheckerForAToken(stub, view), 1);
}

TEST_F(AllocationTest, OfAnUnknownOperationTheLookupPassesAFailedAllocationOnAndTheCheckerDoesNot)
{
    DiskAccessControlClient client(ObjectNamespace(), cache_, operationCache_);
    const CapturedLog noLines(17);
    const ObjectNamespace unknown("OPERATIONS", "NONE");
    const std::set<int> roles{17};
    (void)allocationsOfAChecker(client, roles, unknown);
    const int last = allocationsOfAChecker(client, roles, unknown) - 1;
    ASSERT_GT(last, 0);
    const auto createFailing = [&](int allocation) {
        boost::shared_ptr<const AccessChecker> checker;
        const AllocationCount count(allocation);
        const int status = client.createAccessChecker(roles, unknown, 0, checker);
        return std::pair(status, checker != nullptr);
    };
    EXPECT_EQ(createFailing(last), std::pair(0, false));
    EXPECT_EQ(createFailing(last + 1), std::pair(0, true));
    int passed = 0;
    for (int inTheLookup = 0; inTheLookup < last; ++inTheLookup) {
        try {
            EXPECT_EQ(createFailing(inTheLookup), std::pair(0, true)) << "the lock does without that one";
        } catch (const std::bad_alloc&) {
            ++passed;
        }
    }
    EXPECT_GT(passed, last / 2);
}

TEST_F(AllocationTest, TheStubPassesAFailedAllocationOn)
{
    StubAccessControlClient client;
    boost::shared_ptr<const AccessChecker> checker;
    const AllocationCount count(0);
    EXPECT_THROW((void)client.createAccessChecker({17}, operations::VIEW, 0, checker), std::bad_alloc);
    EXPECT_FALSE(checker);
}

TEST_F(AllocationTest, AThreadThatHasCheckedLeavesNothingBehind)
{
    const DiskAccessChecker checker(cache_, {17}, Operation{4}, 0);
    const ObjectNamespace object("A", "X");
    const auto checkInAThread = [&] {
        std::thread([&] { EXPECT_TRUE(checker.checkAccess(object)); }).join();
    };
    checkInAThread(); // what the process keeps
    const long before = living;
    for (int i = 0; i < 10; ++i) {
        checkInAThread();
    }
    EXPECT_LT(living - before, 10);
}

TEST_F(AllocationTest, AThreadsFirstCheckWithoutMemoryIsAnExceptionNotAnAnswer)
{
    const DiskAccessChecker checker(cache_, {17}, Operation{4}, 0);
    const ObjectNamespace object("A", "X");
    ASSERT_TRUE(checker.checkAccess(object));
    bool thrown = false;
    std::thread([&] {
        const AllocationCount count(0);
        try {
            (void)checker.checkAccess(object);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
    }).join();
    EXPECT_TRUE(thrown);
}

} // namespace
} // namespace keepsafe_test
