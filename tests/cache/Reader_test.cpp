#include <keepsafe/cache/AccessCache.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/status/EC_exception.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::ManagedObject;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t BAR = 0x7C000000;

/// Writes a cache and asks it through one reader.
class ReaderTest : public testing::Test {
protected:
    const AccessCache& open(const CacheWriter& writer, const std::string& namespaceText = "|KEEPSAFE|")
    {
        writer.write(dir_.path("cache"), namespaceText);
        cache_ = std::make_unique<AccessCache>(Manifest("id", dir_.path("cache")));
        return *cache_;
    }
    const AccessCache& open(const AccessModel& model) { return open(CacheWriter(model, {})); }

    TempDir dir_;
    std::unique_ptr<AccessCache> cache_;
};

TEST_F(ReaderTest, FindsTheRootAtTheTopLevelNodeOfTheBar)
{
    CacheWriter writer;
    const auto object = writer.add(managedObject(true, 0, 0));
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, object, 0));
    const auto reader = open(writer).lock();
    EXPECT_NE(reader.lookup(ObjectNamespace()), nullptr);
    EXPECT_EQ(reader.lookup(ObjectNamespace("A")), nullptr);
}

TEST_F(ReaderTest, FindsEachObjectByItsExactName)
{
    AccessModel model;
    model.objects[ObjectNamespace("KEEPSAFE")] = {false, {}, {}};
    model.objects[ObjectNamespace("KEEPSAFE", "abcd")] = {true, {}, {}};
    const auto reader = open(model).lock();
    ASSERT_NE(reader.lookup(ObjectNamespace("KEEPSAFE")), nullptr);
    EXPECT_EQ(reader.lookup(ObjectNamespace("KEEPSAFE"))->inherit, 0);
    ASSERT_NE(reader.lookup(ObjectNamespace("KEEPSAFE", "abcd")), nullptr);
    EXPECT_EQ(reader.lookup(ObjectNamespace("KEEPSAFE", "abcd"))->inherit, 1);
    EXPECT_EQ(reader.lookup(ObjectNamespace("KEEPSAFE", "abce")), nullptr);
    EXPECT_EQ(reader.lookup(ObjectNamespace("KEEPSAFE", "abc")), nullptr);
}

TEST_F(ReaderTest, APrefixWithoutAnObjectOfItsOwnIsNotFound)
{
    AccessModel model;
    model.objects[ObjectNamespace("A", "B", "C")] = {};
    const auto reader = open(model).lock();
    EXPECT_EQ(reader.lookup(ObjectNamespace("A", "B")), nullptr);
    EXPECT_EQ(reader.lookup(ObjectNamespace()), nullptr);
    EXPECT_NE(reader.lookup(ObjectNamespace("A", "B", "C")), nullptr);
}

TEST_F(ReaderTest, AnEmptyCacheFindsNothing)
{
    const auto reader = open(CacheWriter()).lock();
    EXPECT_EQ(reader.lookup(ObjectNamespace()), nullptr);
    EXPECT_FALSE(reader.getOperationBit(ObjectNamespace("A"), 1, Operation{0}));
}

TEST_F(ReaderTest, OwnBitsAndChildBitsAreKeptApart)
{
    AccessModel model;
    model.objects[ObjectNamespace("A")] = {true, {{3, {1}}}, {{3, {2}}}};
    const auto reader = open(model).lock();
    const ObjectNamespace name("A");
    EXPECT_TRUE(reader.getOperationBit(name, 3, Operation{1}));
    EXPECT_FALSE(reader.getOperationBit(name, 3, Operation{2}));
    EXPECT_TRUE(reader.getChildOperationBit(name, 3, Operation{2}));
    EXPECT_FALSE(reader.getChildOperationBit(name, 3, Operation{1}));
    const ManagedObject* object = reader.lookup(name);
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(reader.getOperationBit(*object, 3, Operation{1}));
    EXPECT_TRUE(reader.getChildOperationBit(*object, 3, Operation{2}));
}

TEST_F(ReaderTest, ANameThatIsNotInTheCacheHoldsNoBit)
{
    AccessModel model;
    model.objects[ObjectNamespace("A")] = {true, {{3, {1}}}, {{3, {1}}}};
    const auto reader = open(model).lock();
    EXPECT_FALSE(reader.getOperationBit(ObjectNamespace("B"), 3, Operation{1}));
    EXPECT_FALSE(reader.getChildOperationBit(ObjectNamespace("B"), 3, Operation{1}));
}

TEST_F(ReaderTest, AbsentRolesAndWordsHoldNoBit)
{
    AccessModel model;
    model.objects[ObjectNamespace("A")] = {true, {{3, {40}}, {9, {1}}}, {}};
    const auto reader = open(model).lock();
    EXPECT_FALSE(reader.getOperationBit(ObjectNamespace("A"), 4, Operation{40}));
    EXPECT_FALSE(reader.getOperationBit(ObjectNamespace("A"), 3, Operation{8}));
    EXPECT_FALSE(reader.getOperationBit(ObjectNamespace("A"), 3, Operation{72}));
    EXPECT_TRUE(reader.getOperationBit(ObjectNamespace("A"), 3, Operation{40}));
}

TEST_F(ReaderTest, Operation37IsBitFiveOfWordOne)
{
    CacheWriter writer;
    const auto word = writer.add(bitsNode(1, std::uint32_t{1} << 5U));
    const auto role = writer.add(bitsNode(17, word));
    const auto object = writer.add(managedObject(true, role, 0));
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, object, 0));
    const auto reader = open(writer).lock();
    for (int bit = 0; bit < 96; ++bit) {
        EXPECT_EQ(reader.getOperationBit(ObjectNamespace(), 17, Operation{bit}), bit == 37) << bit;
    }
}

TEST_F(ReaderTest, AWordTreeRootOfZeroHoldsNoBit)
{
    CacheWriter writer;
    const auto role = writer.add(bitsNode(17, 0));
    const auto object = writer.add(managedObject(true, role, 0));
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, object, 0));
    EXPECT_FALSE(open(writer).lock().getOperationBit(ObjectNamespace(), 17, Operation{0}));
}

TEST_F(ReaderTest, RoleIdsAndBitOffsetsMayBeNegativeAndExtreme)
{
    constexpr auto least = std::numeric_limits<std::int32_t>::min();
    constexpr auto most = std::numeric_limits<std::int32_t>::max();
    AccessModel model;
    model.objects[ObjectNamespace("A")] = {
        true, {{least, {0, most}}, {-5, {-1}}, {most, {least}}, {0, {63}}}, {}};
    const auto reader = open(model).lock();
    const ObjectNamespace name("A");
    EXPECT_TRUE(reader.getOperationBit(name, least, Operation{0}));
    EXPECT_TRUE(reader.getOperationBit(name, least, Operation{most}));
    EXPECT_TRUE(reader.getOperationBit(name, -5, Operation{-1}));
    EXPECT_TRUE(reader.getOperationBit(name, most, Operation{least}));
    EXPECT_TRUE(reader.getOperationBit(name, 0, Operation{63}));
    EXPECT_FALSE(reader.getOperationBit(name, -5, Operation{1}));
    EXPECT_FALSE(reader.getOperationBit(name, 5, Operation{-1}));
}

TEST_F(ReaderTest, SegmentsWithBytesFrom0x80UpSortBeforeAllOthers)
{
    // Text forms are ASCII; a cache may hold other keys all the same, and the walk must step over them as
    // signed numbers.
    CacheWriter writer;
    const auto wanted = writer.add(managedObject(true, 0, 0));
    const auto high = writer.add(segmentNode(static_cast<std::int32_t>(0xE97C0000U), 0, 0, 0, 0));
    const auto ascii = writer.add(segmentNode(0x617C0000, 0, 0, wanted, 0));
    const auto top = writer.add(segmentNode(0x417C0000, high, ascii, 0, 0));
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, 0, top));
    EXPECT_NE(open(writer).lock().lookup(ObjectNamespace("a")), nullptr);
}

TEST_F(ReaderTest, AnOffsetInsideARecordStandsForThatRecord)
{
    CacheWriter writer;
    const auto word = writer.add(bitsNode(0, 1));
    const auto role = writer.add(bitsNode(17, word + 23));
    const auto object = writer.add(managedObject(true, role + 11, 0));
    const auto segment = writer.add(segmentNode(0x417C0000, 0, 0, object + 15, 0));
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, 0, segment + 31)) + 1;
    const auto reader = open(writer).lock();
    EXPECT_TRUE(reader.getOperationBit(ObjectNamespace("A"), 17, Operation{0}));
    EXPECT_EQ(&reader.getManagedObject(object + 7), reader.lookup(ObjectNamespace("A")));
}

TEST_F(ReaderTest, VisitsTheObjectsOnTheWayFromTheRootDown)
{
    AccessModel model;
    model.objects[ObjectNamespace()] = {};
    model.objects[ObjectNamespace("abcd")] = {};
    model.objects[ObjectNamespace("abcd", "x", "y")] = {};
    model.objects[ObjectNamespace("abce")] = {};
    const auto reader = open(model).lock();
    std::vector<std::pair<const ManagedObject*, bool>> met;
    reader.visitPath(ObjectNamespace("abcd", "x", "y"),
                     [&](const ManagedObject& object, bool isNamed) { met.emplace_back(&object, isNamed); });
    EXPECT_THAT(met, ElementsAre(std::pair(reader.lookup(ObjectNamespace()), false),
                                 std::pair(reader.lookup(ObjectNamespace("abcd")), false),
                                 std::pair(reader.lookup(ObjectNamespace("abcd", "x", "y")), true)));
}

TEST_F(ReaderTest, AnObjectInTheMiddleOfAComponentIsOnNobodysWay)
{
    // "abcdef" ends its first segment in the middle of the name; an object there is reached by no name at
    // all.
    CacheWriter writer;
    const auto stray = writer.add(managedObject(true, 0, 0));
    const auto last = writer.add(segmentNode(0x65667C00, 0, 0, 0, 0));
    const auto middle = writer.add(segmentNode(0x61626364, 0, 0, stray, last));
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, 0, middle));
    const auto reader = open(writer).lock();
    int met = 0;
    reader.visitPath(ObjectNamespace("abcdef"), [&](const ManagedObject&, bool) { ++met; });
    EXPECT_EQ(met, 0);
}

TEST_F(ReaderTest, AFlagThatIsStillSetMakesTheCacheUnusable)
{
    CacheWriter writer;
    writer.metadata.writeInProgress = 1;
    const AccessCache& cache = open(writer);
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([&] { (void)cache.lock(); }), 12);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "AccessCache::Reader",
                                                 "A previous write on cache |KEEPSAFE| was interrupted. "
                                                 "Assuming invalid."}));
}

TEST_F(ReaderTest, AFailedReaderKeepsNoLock)
{
    CacheWriter writer;
    writer.metadata.writeInProgress = 0x80;
    const AccessCache& cache = open(writer);
    ASSERT_EQ(thrownStatus([&] { (void)cache.lock(); }), 12);
    const FileLock lock = FileLockManager::instance().getLock(cache.manifest_filename());
    EXPECT_NO_THROW(FileLockGuard(lock, FileLock::EXCLUSIVE, 0, FileLock::DEFAULT_INTERVAL));
}

TEST_F(ReaderTest, HoldsTheSharedLockWhileItLives)
{
    const AccessCache& cache = open(CacheWriter());
    const FileLock lock = FileLockManager::instance().getLock(cache.manifest_filename());
    {
        const auto reader = cache.lock();
        EXPECT_FALSE(reader.writing_in_progress());
        EXPECT_NO_THROW(FileLockGuard(lock, FileLock::SHARED, 0, FileLock::DEFAULT_INTERVAL));
        EXPECT_THROW(FileLockGuard(lock, FileLock::EXCLUSIVE, 0, FileLock::DEFAULT_INTERVAL), EC_exception);
    }
    EXPECT_NO_THROW(FileLockGuard(lock, FileLock::EXCLUSIVE, 0, FileLock::DEFAULT_INTERVAL));
}

TEST_F(ReaderTest, AnOffsetOutsideItsFileIsStatus12AndNamesThePlace)
{
    CacheWriter writer;
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, 16, 64));
    std::optional<AccessCache::Reader> reader(open(writer).lock());
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([&] { (void)reader->lookup(ObjectNamespace()); }), 12);
    EXPECT_EQ(thrownStatus([&] { (void)reader->lookup(ObjectNamespace("A")); }), 12);
    EXPECT_EQ(thrownStatus([&] { (void)reader->getManagedObject(4294967295U); }), 12);
    EXPECT_THAT(log.lines(), IsEmpty()) << "as long as the lock is held";
    reader.reset();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            LogLine{16, "AccessCache::Reader",
                    "Cache |KEEPSAFE| is damaged: objects at offset 16: offset outside the file"},
            LogLine{16, "AccessCache::Reader",
                    "Cache |KEEPSAFE| is damaged: segments at offset 64: offset outside the file"},
            LogLine{16, "AccessCache::Reader",
                    "Cache |KEEPSAFE| is damaged: objects at offset 4294967295: offset outside the file"}));
}

TEST_F(ReaderTest, ATreeThatLeadsRoundInACircleIsStatus12)
{
    CacheWriter writer;
    const auto second = static_cast<std::uint32_t>(2 * sizeof(CacheWriter::SegmentNode));
    const auto first = writer.add(segmentNode(BAR + 2, second, 0, 0, 0));
    writer.add(segmentNode(BAR + 1, first, 0, 0, 0));
    writer.metadata.segmentRoot = first;
    const AccessCache& cache = open(writer);
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([&] { (void)cache.lock().lookup(ObjectNamespace()); }), 12);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines()[0].text, testing::HasSubstr("tree without end"));
}

TEST_F(ReaderTest, ATrieThatLeadsBackToItsTopIsStatus12ForANameThatIsLongerThanTheFile)
{
    constexpr std::uint32_t RECORDS = 100;
    CacheWriter writer;
    constexpr auto SIZE = static_cast<std::uint32_t>(sizeof(CacheWriter::SegmentNode));
    for (std::uint32_t record = 1; record <= RECORDS; ++record) {
        const bool isLast = record == RECORDS;
        const auto key = BAR - static_cast<std::int32_t>(RECORDS - record);
        writer.add(segmentNode(key, 0, isLast ? 0 : (record + 1) * SIZE, 0, SIZE));
    }
    writer.metadata.segmentRoot = static_cast<std::uint32_t>(sizeof(CacheWriter::SegmentNode));
    const AccessCache& cache = open(writer);
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([&] { (void)cache.lock().lookup(ObjectNamespace() | "" | "" | ""); }), 12);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines()[0].text, testing::HasSubstr("tree without end"));
}

TEST_F(ReaderTest, ARoleTreeThatLeadsRoundInACircleIsStatus12)
{
    CacheWriter writer;
    const auto self = static_cast<std::uint32_t>(sizeof(CacheWriter::BitsNode));
    writer.add(bitsNode(5, 0, self, self));
    const auto object = writer.add(managedObject(true, self, 0));
    writer.metadata.segmentRoot = writer.add(segmentNode(BAR, 0, 0, object, 0));
    const auto reader = open(writer).lock();
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([&] { (void)reader.getOperationBit(ObjectNamespace(), 1, Operation{0}); }), 12);
    EXPECT_FALSE(reader.getOperationBit(ObjectNamespace(), 5, Operation{0}));
}

TEST_F(ReaderTest, ATreeAsLongAsTheFileIsLegal)
{
    AccessModel model;
    for (int role = 0; role < 500; ++role) {
        model.objects[ObjectNamespace()].own[role] = {0};
    }
    CacheWriter::Options options;
    options.shape = TreeShape::RightList;
    const auto reader = open(CacheWriter(model, options)).lock();
    EXPECT_TRUE(reader.getOperationBit(ObjectNamespace(), 499, Operation{0}));
    EXPECT_FALSE(reader.getOperationBit(ObjectNamespace(), 500, Operation{0}));
}

} // namespace
} // namespace keepsafe_test
