#include "generate/GeneratedCache.h"

#include <cstring>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>

#include "cachewriter/CachePublisher.h"
#include "files/PosixFileSystem.h"
#include "support/TempDir.h"

namespace {

using keepsafe_sandbox::GeneratedCache;
using keepsafe_service::CacheImage;
using keepsafe_service::CacheObject;
using keepsafe_service::Grants;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

template <typename Record>
bool areEqual(const std::vector<Record>& left, const std::vector<Record>& right)
{
    return left.size() == right.size() &&
           std::memcmp(left.data(), right.data(), left.size() * sizeof(Record)) == 0;
}

bool areEqual(const CacheImage& left, const CacheImage& right)
{
    return areEqual(left.objects, right.objects) && areEqual(left.nodes, right.nodes) &&
           areEqual(left.segments, right.segments) && areEqual(left.counts, right.counts);
}

/// Number of operations of each role, in the order of the role ids.
std::vector<int> operationCounts(const Grants& grants)
{
    std::vector<int> counts;
    for (const auto& [roleId, words] : grants.roles()) {
        EXPECT_TRUE(roleId >= 1 && roleId <= 200) << roleId;
        int count = 0;
        for (const auto& [word, bits] : words) {
            count += __builtin_popcount(bits);
        }
        counts.push_back(count);
    }
    return counts;
}

TEST(GeneratedCache, IsTheSameForTheSameSeed)
{
    EXPECT_TRUE(areEqual(GeneratedCache(3000, 7).build(), GeneratedCache(3000, 7).build()));
}

TEST(GeneratedCache, IsAnotherOneForAnotherSeed)
{
    EXPECT_FALSE(areEqual(GeneratedCache(3000, 7).build(), GeneratedCache(3000, 8).build()));
}

TEST(GeneratedCache, NamesItsObjectsByTheirNumbers)
{
    EXPECT_EQ(GeneratedCache::leafName(123), "vm-0000123-prod.example");
    EXPECT_EQ(GeneratedCache::leafName(12345678), "vm-12345678-prod.example");
    EXPECT_EQ(GeneratedCache::leafNamespace(59).str(), "|KEEPSAFE|area-3|kind-07|vm-0000059-prod.example|");
    EXPECT_EQ(GeneratedCache::operationNamespace(5).str(), "|OPERATIONS|OP-05|");
    EXPECT_EQ(GeneratedCache::operations().size(), 64U);
    EXPECT_EQ(GeneratedCache::operations().at(ObjectNamespace("OPERATIONS", "OP-63")), 127);
}

TEST(GeneratedCache, GrantsWhatItsDescriptionSays)
{
    const GeneratedCache cache(0, 1);
    const std::vector<int> fourEach(5, 4);
    const std::vector<int> eightEach(10, 8);
    for (unsigned area = 0; area < GeneratedCache::AREAS; ++area) {
        EXPECT_EQ(operationCounts(cache.area(area).child), fourEach);
        EXPECT_TRUE(cache.area(area).own.empty());
        for (unsigned kind = 0; kind < GeneratedCache::KINDS; ++kind) {
            EXPECT_EQ(operationCounts(cache.kind(area, kind).child), eightEach);
            EXPECT_TRUE(cache.kind(area, kind).own.empty());
        }
    }
}

TEST(GeneratedCache, GivesAFifthOfTheLeavesTheirOwnGrantAndCutsOffATwentieth)
{
    constexpr unsigned leaves = 20000;
    const GeneratedCache cache(leaves, 1);
    const std::vector<int> fourEach(2, 4);
    unsigned withGrant = 0;
    unsigned cutOff = 0;
    for (unsigned number = 0; number < leaves; ++number) {
        const CacheObject leaf = cache.leaf(number);
        EXPECT_TRUE(leaf.child.empty());
        if (!leaf.own.empty()) {
            EXPECT_EQ(operationCounts(leaf.own), fourEach);
            ++withGrant;
        }
        cutOff += leaf.inherit ? 0 : 1;
    }

    // Within four standard deviations of 20 % and 5 %.
    EXPECT_NEAR(withGrant, leaves * 0.20, 227);
    EXPECT_NEAR(cutOff, leaves * 0.05, 124);
}

TEST(GeneratedCache, AnswersThroughTheLibraryAsItsLeavesSay)
{
    constexpr unsigned leaves = 500;
    const GeneratedCache generated(leaves, 3);
    const keepsafe_test::TempDir dir;
    keepsafe_service::PosixFileSystem fileSystem;
    keepsafe_service::CachePublisher(fileSystem)
        .publish(dir.path("c"), GeneratedCache::rootNamespace(), generated.build());
    const AccessCache cache(Manifest("id", dir.path("c")));
    const AccessCache::Reader reader = cache.lock();

    EXPECT_EQ(cache.managedObjectCount(), 1 + generated.objectCount());
    for (unsigned number = 0; number < leaves; ++number) {
        const CacheObject leaf = generated.leaf(number);
        const auto* record = reader.lookup(leaf.ns);
        ASSERT_NE(record, nullptr) << leaf.ns;
        EXPECT_EQ(record->inherit != 0, leaf.inherit);
        for (const auto& [roleId, words] : leaf.own.roles()) {
            for (std::int32_t bit = 64; bit < 128; ++bit) {
                const auto word = words.find(bit / 32);
                const bool expected =
                    word != words.end() && (word->second >> static_cast<unsigned>(bit % 32) & 1U) != 0;
                ASSERT_EQ(reader.getOperationBit(*record, roleId, Operation{bit}), expected);
            }
        }
    }
}

TEST(GeneratedCache, ReportsItsProgressToTheEnd)
{
    std::vector<std::uint64_t> reports;
    const CacheImage image =
        GeneratedCache(2048, 1).build([&reports](std::uint64_t done, std::uint64_t total) {
            EXPECT_EQ(total, 2048U);
            reports.push_back(done);
        });

    EXPECT_EQ(image.objects.size(), 1U + 137U + 2048U);
    EXPECT_THAT(reports, testing::ElementsAre(1024, 2048));
}

} // namespace
