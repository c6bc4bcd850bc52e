#include <keepsafe/cache/AccessCache.h>

#include <atomic>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/status/EC_exception.h>

#include "platform/filelock/slots_support.h"
#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using testing::ElementsAre;
using testing::HasSubstr;

class AccessCacheTest : public testing::Test {
protected:
    AccessCacheTest() { write(1); }

    /// A cache of `count` objects |N0|, |N1|, ..., each granting role 1 the operation of its number.
    static CacheWriter writerOf(int count)
    {
        AccessModel model;
        for (int i = 0; i < count; ++i) {
            model.objects[ObjectNamespace("N" + std::to_string(i))].own[1] = {i};
        }
        return {model, {}};
    }
    void write(int count) { writerOf(count).write(directory_, "|KEEPSAFE|"); }

    [[nodiscard]] std::string file(const std::string& name) const { return directory_ + '/' + name; }
    [[nodiscard]] Manifest manifest() const { return {"id", directory_}; }

    TempDir dir_;
    std::string directory_ = dir_.path("cache");
};

TEST_F(AccessCacheTest, FileNamesArePartOfTheInterface)
{
    EXPECT_EQ(AccessCache::MANIFEST_FILE_NAME, "manifest.json");
    EXPECT_EQ(AccessCache::METADATA_FILE_NAME, "metadata");
    EXPECT_EQ(AccessCache::OBJECT_FILE_NAME, "objects");
    EXPECT_EQ(AccessCache::NODE_FILE_NAME, "nodes");
    EXPECT_EQ(AccessCache::AD_COUNT_FILE_NAME, "counts");
    EXPECT_EQ(AccessCache::SEGMENT_FILE_NAME, "segments");
}

TEST_F(AccessCacheTest, MapsFourFilesInOrder)
{
    const CapturedLog log;
    const AccessCache cache(manifest());
    std::vector<LogLine> expected;
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        expected.push_back({4, "MemoryMap", "instantiating memory map for " + file(name)});
    }
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(AccessCacheTest, NamesItsManifest)
{
    const AccessCache cache(manifest());
    EXPECT_EQ(cache.manifest_filename(), file("manifest.json"));
    EXPECT_EQ(cache.manifest().cacheId, "id");
}

TEST_F(AccessCacheTest, CountsManagedObjectsWithTheReservedRecord)
{
    write(3);
    const AccessCache cache(manifest());
    EXPECT_EQ(cache.managedObjectCount(), 4U);
}

TEST_F(AccessCacheTest, EachMissingFileIsToldAndThrown)
{
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        write(1);
        std::filesystem::remove(file(name));
        testing::internal::CaptureStderr();
        EXPECT_STREQ(thrownBy<std::runtime_error>([this] { const AccessCache cache(manifest()); }).what(),
                     "error opening file")
            << name;
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    testing::EndsWith("error opening " + file(name) + ": No such file or directory\n"));
    }
}

TEST_F(AccessCacheTest, EmptySegmentsAndObjectsAreLegalAndHoldNothing)
{
    writeFile(file("segments"), "");
    writeFile(file("objects"), "");
    writeFile(file("nodes"), "");
    writeFile(file("metadata"), std::string(32, '\0'));
    const AccessCache cache(manifest());
    EXPECT_EQ(cache.managedObjectCount(), 0U);
    EXPECT_EQ(cache.lock().lookup(ObjectNamespace()), nullptr);
}

TEST_F(AccessCacheTest, AMissingHeaderIsStatus12)
{
    for (const std::size_t length : {std::size_t{0}, std::size_t{31}}) {
        writeFile(file("metadata"), std::string(length, '\0'));
        const AccessCache cache(manifest());
        const CapturedLog log;
        EXPECT_EQ(thrownStatus([&] { (void)cache.lock(); }), 12);
        EXPECT_THAT(log.lines(), ElementsAre(LogLine{
                                     16, "AccessCache::Reader",
                                     "Cache |KEEPSAFE| is damaged: metadata at offset 0: header missing"}));
    }
}

TEST_F(AccessCacheTest, LockMapsGrownFilesAnew)
{
    const AccessCache cache(manifest());
    write(5);
    EXPECT_EQ(cache.managedObjectCount(), 2U);
    EXPECT_TRUE(cache.lock().getOperationBit(ObjectNamespace("N4"), 1, Operation{4}));
    EXPECT_EQ(cache.managedObjectCount(), 6U);
}

TEST_F(AccessCacheTest, LockKeepsTheMappingsOfUnchangedFiles)
{
    const AccessCache cache(manifest());
    const auto* before = cache.lock().lookup(ObjectNamespace("N0"));
    EXPECT_EQ(cache.lock().lookup(ObjectNamespace("N0")), before);
}

TEST_F(AccessCacheTest, AManifestThatIsGoneAtLockTimeIsStatus12)
{
    const AccessCache cache(manifest());
    std::filesystem::remove(file("manifest.json"));
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([&] { (void)cache.lock(); }), 12);
    ASSERT_EQ(log.lines(16).size(), 1U);
    EXPECT_THAT(log.lines(16)[0].text, HasSubstr(file("manifest.json")));
}

TEST_F(AccessCacheTest, AReaderOutlivesMappingsThatOthersRenew)
{
    const AccessCache cache(manifest());
    const auto before = cache.lock();
    const auto* object = before.lookup(ObjectNamespace("N0"));
    ASSERT_NE(object, nullptr);
    write(2000); // a writer that ignores the lock: what a reader holds must stay readable all the same
    const auto after = cache.lock();
    EXPECT_NE(after.lookup(ObjectNamespace("N1999")), nullptr);
    EXPECT_EQ(object->inherit, 1);
}

/// Under the exclusive lock, rewrites the files in place so that each is as large as before or larger.
void growInPlace(const std::string& directory, const CacheWriter& writer)
{
    const FileLock lock = FileLockManager::instance().getLock(directory + "/manifest.json");
    const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    const TempDir staging;
    writer.write(staging.path("new"));
    for (const char* name : {"objects", "nodes", "segments", "metadata"}) {
        std::fstream target(directory + '/' + name, std::ios::in | std::ios::out | std::ios::binary);
        target << readFile(staging.path(std::string("new/") + name));
    }
}

TEST_F(AccessCacheTest, ThreadsMayAllFindAGrownFileAtOnce)
{
    constexpr int GENERATIONS = 60;
    const AccessCache cache(manifest());
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            while (!stop) {
                const auto reader = cache.lock();
                wrong += reader.getOperationBit(ObjectNamespace("N0"), 1, Operation{0}) ? 0 : 1;
            }
        });
    }
    for (int generation = 1; generation <= GENERATIONS; ++generation) {
        growInPlace(directory_, writerOf(generation * 30));
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(cache.lock().getOperationBit(ObjectNamespace("N1799"), 1, Operation{1799}));
}

/// Readers that take the lock by slots learn from it whether a writer has been there, and look at the files
/// themselves every 10 ms.
class SlotReadersTest : public AccessCacheTest {
protected:
    SlotReadersTest()
    {
        makeControlPage(lock_);
        EXPECT_TRUE(getsSlot(lock_));
    }
    static bool has(const AccessCache& cache, int number)
    {
        return cache.lock().lookup(ObjectNamespace("N" + std::to_string(number))) != nullptr;
    }
    /// Whether it comes to have it after files were replaced without the lock. Until that is noticed, a walk
    /// may meet new records beside old ones.
    static bool comesToHave(const AccessCache& cache, int number)
    {
        const CapturedLog log;
        return eventually([&] {
            try {
                return has(cache, number);
            } catch (const EC_exception&) {
                return false;
            }
        });
    }

    const FileLock lock_ = FileLockManager::instance().getLock(file("manifest.json"));
};

TEST_F(SlotReadersTest, NextLockAfterAWriterMapsWhatItHasGrown)
{
    const AccessCache cache(manifest());
    for (int count = 2; count < 60; ++count) {
        growInPlace(directory_, writerOf(count * 30));
        ASSERT_TRUE(has(cache, count * 30 - 1));
    }
}

TEST_F(SlotReadersTest, SoonNoticeWhatWasReplacedWithoutTheLock)
{
    const AccessCache cache(manifest());
    ASSERT_TRUE(has(cache, 0));
    write(2000);
    EXPECT_TRUE(comesToHave(cache, 1999));
}

TEST_F(SlotReadersTest, HeldReaderStaysValidWhenOtherThreadsMapGrownFiles)
{
    const AccessCache cache(manifest());
    const auto outer = cache.lock();
    const auto nested = cache.lock();
    const auto* object = outer.lookup(ObjectNamespace("N0"));
    const auto* same = nested.lookup(ObjectNamespace("N0"));
    for (int count = 100; count < 110; ++count) {
        write(count); // a writer that ignores the lock: under the lock nothing grows while readers hold it
        std::thread([&] { EXPECT_TRUE(comesToHave(cache, count - 1)); }).join();
        EXPECT_EQ(object->inherit, 1);
        EXPECT_EQ(same->inherit, 1);
    }
}

TEST_F(SlotReadersTest, HeldReaderStaysValidWhenItsOwnThreadMapsGrownFiles)
{
    const AccessCache cache(manifest());
    const auto outer = cache.lock();
    const auto* object = outer.lookup(ObjectNamespace("N0"));
    write(2000);
    EXPECT_TRUE(comesToHave(cache, 1999));
    EXPECT_EQ(object->inherit, 1);
}

TEST_F(SlotReadersTest, OneProcessReadsSeveralCaches)
{
    const std::string other = dir_.path("other");
    writerOf(5).write(other, "|OTHER|");
    const AccessCache first(manifest());
    const AccessCache second(Manifest("other", other));
    const auto held = first.lock();
    growInPlace(other, writerOf(500));
    EXPECT_TRUE(has(second, 499));
    EXPECT_EQ(held.lookup(ObjectNamespace("N1")), nullptr);
}

} // namespace
} // namespace keepsafe_test
