#include "cachewriter/RecordPool.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/detail/records.h>

#include "errors/InputError.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::FileContent;
using keepsafe_service::FileRange;
using keepsafe_service::InputError;
using keepsafe_service::RecordPool;
using Tessara::Keepsafe::Rbac::ManagedObject;
using Tessara::Keepsafe::Rbac::NodeOffset;
using testing::ElementsAre;
using testing::IsEmpty;

using Pool = RecordPool<ManagedObject>;

NodeOffset takeOne(Pool& pool)
{
    pool.reserve(1);
    return pool.take();
}

std::vector<NodeOffset> takeMany(Pool& pool, std::size_t count)
{
    pool.reserve(count);
    std::vector<NodeOffset> taken(count);
    std::generate(taken.begin(), taken.end(), [&pool] { return pool.take(); });
    return taken;
}

/// First byte of each range and the one after its last.
std::vector<std::pair<std::uint64_t, std::uint64_t>> rangesOf(const FileContent& content)
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    for (const FileRange& range : content.ranges) {
        ranges.emplace_back(range.offset, range.offset + range.bytes.size());
    }
    return ranges;
}

TEST(RecordPool, KeepsRecord0ForItself)
{
    Pool pool("objects");

    EXPECT_EQ(pool.size(), 1U);
    EXPECT_EQ(takeOne(pool), 16U);
    EXPECT_EQ(takeOne(pool), 32U);
}

TEST(RecordPool, TakesWhatWasGivenBackBeforeItGrows)
{
    Pool pool("objects");
    const std::vector<NodeOffset> taken = takeMany(pool, 10);
    pool.release(taken[3]);
    pool.release(taken[7]);
    EXPECT_EQ(pool.freeCount(), 2U);

    EXPECT_THAT(takeMany(pool, 3), ElementsAre(taken[7], taken[3], 11 * 16));
    EXPECT_EQ(pool.freeCount(), 0U);
}

TEST(RecordPool, WipesWhatIsGivenBack)
{
    Pool pool("objects");
    const NodeOffset first = takeOne(pool);
    const NodeOffset second = takeOne(pool);
    for (const NodeOffset record : {first, second}) {
        pool.set(record, &ManagedObject::ownBits, NodeOffset{24});
        pool.set(record, &ManagedObject::inherit, 1);
        pool.release(record);
    }

    EXPECT_EQ(pool[second].ownBits, 0U);
    EXPECT_EQ(pool[second].inherit, 0U);
    const NodeOffset again = takeOne(pool);
    EXPECT_EQ(again, second);
    const auto& link = pool[again].writerPrivate;
    EXPECT_TRUE(std::all_of(std::begin(link), std::end(link), [](std::uint8_t byte) { return byte == 0; }));
}

TEST(RecordPool, NamesTheChangesOnly)
{
    Pool pool("objects");
    const std::vector<NodeOffset> taken = takeMany(pool, 5000);
    pool.forgetChanges();
    EXPECT_THAT(pool.changes().ranges, IsEmpty());

    pool.set(taken[0], &ManagedObject::inherit, 1);
    pool.set(taken[1], &ManagedObject::inherit, 0); // it is 0
    pool.set(taken[1000], &ManagedObject::inherit, 1);
    pool.set(taken[4999], &ManagedObject::inherit, 1);

    EXPECT_THAT(rangesOf(pool.changes()),
                ElementsAre(std::pair(16, 32), std::pair(16 * 1001, 16 * 1002), std::pair(80000, 80016)));
}

TEST(RecordPool, JoinsChangesThatLieCloseTogether)
{
    Pool pool("objects");
    const std::vector<NodeOffset> taken = takeMany(pool, 200);
    pool.forgetChanges();

    pool.set(taken[9], &ManagedObject::inherit, 1);
    pool.set(taken[10], &ManagedObject::inherit, 1);
    pool.set(taken[20], &ManagedObject::inherit, 1);
    pool.set(taken[120], &ManagedObject::inherit, 1);

    EXPECT_THAT(rangesOf(pool.changes()), ElementsAre(std::pair(160, 352), std::pair(1936, 1952)));
}

TEST(RecordPool, EverythingIsAllRecordsInOrder)
{
    Pool pool("objects");
    takeMany(pool, 9999);

    std::uint64_t end = 0;
    for (const FileRange& range : pool.whole().ranges) {
        EXPECT_EQ(range.offset, end);
        end += range.bytes.size();
    }
    EXPECT_EQ(end, 16U * 10000);
    EXPECT_EQ(pool.whole().bytesInUse(), 16U * 10000);
}

TEST(RecordPool, RefusesToOutgrowItsLimitAndStaysAsItWas)
{
    Pool pool("objects", 4);
    const NodeOffset taken = takeMany(pool, 2).front();
    const auto errorOf = [&pool](std::size_t count) -> std::string {
        return thrownBy<InputError>([&] { pool.reserve(count); }).what();
    };

    EXPECT_EQ(errorOf(2), "too many objects: the file \"objects\" would exceed 4 GiB");
    EXPECT_EQ(errorOf(SIZE_MAX), "too many objects: the file \"objects\" would exceed 4 GiB");
    EXPECT_EQ(pool.size(), 3U);
    EXPECT_NO_THROW(pool.reserve(1));
    pool.release(taken);
    EXPECT_NO_THROW(pool.reserve(2)) << "one of them is free";
}

} // namespace
} // namespace keepsafe_test
