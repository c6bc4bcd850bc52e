#include "cachewriter/LiveCache.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>
#include <keepsafe/cache/OperationCache.h>

#include "cachewriter/publish_cache.h"
#include "errors/InputError.h"
#include "service/support/Generations.h"
#include "service/support/RecordingFileSystem.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "verify/cache_report.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::CacheObject;
using keepsafe_service::InputError;
using keepsafe_service::LiveCache;
using keepsafe_service::OperationBits;
using keepsafe_service::Renumber;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::OperationCache;
using testing::ElementsAre;
namespace fs = std::filesystem;

using Write = RecordingFileSystem::Write;

const std::string RECORD_FILES[] = {"objects", "nodes", "segments", "counts"};

class LiveCacheTest : public testing::Test {
protected:
    void putGeneration(unsigned generation)
    {
        for (const CacheObject& object : objectsOfGeneration(generation)) {
            cache_.put(object);
        }
    }

    std::uint64_t publish() { return cache_.publish(OPERATIONS); }

    [[nodiscard]] std::string directory() const { return location_.accessCache(); }
    [[nodiscard]] std::string file(const std::string& name) const { return directory() + "/" + name; }

    std::map<std::string, std::uintmax_t> fileSizes()
    {
        std::map<std::string, std::uintmax_t> sizes;
        for (const std::string& name : RECORD_FILES) {
            sizes[name] = fs::file_size(file(name));
        }
        return sizes;
    }

    /// Bytes per file that one publishing writes.
    std::map<std::string, std::size_t> bytesOfPublishing()
    {
        fileSystem_.takeWrites();
        publish();
        std::map<std::string, std::size_t> bytes;
        for (const Write& write : fileSystem_.takeWrites()) {
            bytes[write.file] += write.size;
        }
        return bytes;
    }

    static inline const OperationBits OPERATIONS{{ObjectNamespace("OPERATIONS", "VIEW"), 1}};

    TempRoot root_;
    CapturedLog log_{17};
    RecordingFileSystem fileSystem_;
    CacheLocation location_{root_.path(), "vault"};
    LiveCache cache_{fileSystem_, location_, ObjectNamespace("VAULT")};
};

TEST_F(LiveCacheTest, PublishesTheObjectsWithTheOperations)
{
    putGeneration(1);

    EXPECT_EQ(publish(), 1U);

    EXPECT_EQ(findingIn(directory()), "generation 1");
    OperationCache operations;
    EXPECT_EQ(operations[ObjectNamespace("OPERATIONS", "VIEW")]->offset, 1);
}

TEST_F(LiveCacheTest, WritesNothingBeforeItPublishes)
{
    putGeneration(1);

    EXPECT_EQ(cache_.objectCount(), 40U);
    EXPECT_FALSE(fs::exists(directory()));
}

TEST_F(LiveCacheTest, ReadersThatHaveTheCacheOpenFindEachChange)
{
    publish();
    const AccessCache reader(Manifest("vault", directory()));
    EXPECT_EQ(findingOf(reader), "generation 0");
    for (const unsigned generation : {1U, 3U, 4U}) {
        putGeneration(generation);
        publish();
        EXPECT_EQ(findingOf(reader), "generation " + std::to_string(generation));
    }
    for (const CacheObject& object : objectsOfGeneration(4)) {
        cache_.remove(object.ns);
    }
    EXPECT_EQ(publish(), 5U);
    EXPECT_EQ(findingOf(reader), "generation 0");
}

TEST_F(LiveCacheTest, WritesTheOneRecordThatHasChanged)
{
    putGeneration(4);
    publish();
    CacheObject changed = objectsOfGeneration(4).at(9);
    changed.inherit = false;
    cache_.put(changed);

    fileSystem_.takeWrites();
    publish();

    EXPECT_THAT(fileSystem_.takeWrites(), ElementsAre(Write{"metadata", 20, 1}, Write{"objects", 160, 16},
                                                      Write{"metadata", 0, 64}, Write{"metadata", 20, 1}));
}

TEST_F(LiveCacheTest, WritesFewRecordsForANewObjectAmongMany)
{
    putGeneration(4);
    publish();
    CacheObject added;
    added.ns = ObjectNamespace("VAULT", "box-77b");
    cache_.put(added);

    const auto bytes = bytesOfPublishing();

    EXPECT_EQ(bytes.at("objects"), 16U);
    EXPECT_EQ(bytes.at("counts"), 4U);
    EXPECT_EQ(bytes.count("nodes"), 0U) << "it grants nothing";
    EXPECT_LE(bytes.at("segments"), 32U * 4);
}

TEST_F(LiveCacheTest, WritesTheHeaderOnlyWhenNothingHasChanged)
{
    putGeneration(1);
    publish();

    EXPECT_EQ(bytesOfPublishing(), (std::map<std::string, std::size_t>{{"metadata", 66}}));
}

TEST_F(LiveCacheTest, WritesEverythingAfterAFailure)
{
    putGeneration(2);
    publish();
    EXPECT_THROW(cache_.publish({{ObjectNamespace("OPERATIONS", "VIEW"), 7}}), InputError);
    const auto sizes = fileSizes();

    const auto bytes = bytesOfPublishing();

    for (const std::string& name : RECORD_FILES) {
        EXPECT_EQ(bytes.at(name), sizes.at(name)) << name;
    }
    EXPECT_EQ(findingIn(directory()), "generation 2");
}

TEST_F(LiveCacheTest, WritesEverythingWhenAnotherWriterHasBeenThere)
{
    putGeneration(2);
    publish();
    keepsafe_service::publishCache(fileSystem_, location_, ObjectNamespace("VAULT"), imageOfGeneration(4),
                                   OPERATIONS, Renumber::Refuse);
    ASSERT_EQ(findingIn(directory()), "generation 4");

    EXPECT_EQ(publish(), 3U);

    EXPECT_EQ(findingIn(directory()), "generation 2");
}

TEST_F(LiveCacheTest, WritesEverythingWhenAnotherWriterWasKilled)
{
    putGeneration(2);
    publish();
    std::string metadata = readFile(file("metadata"));
    metadata[20] = 1;
    writeFile(file("metadata"), metadata);
    writeFile(file("nodes"), std::string(fs::file_size(file("nodes")), '\7'));

    publish();

    EXPECT_EQ(findingIn(directory()), "generation 2");
}

TEST_F(LiveCacheTest, WritesEverythingWhenAFileIsGone)
{
    putGeneration(2);
    for (const char* name : {"manifest.json", "metadata", "objects", "nodes", "segments", "counts"}) {
        publish();
        fs::remove(file(name));

        publish();

        EXPECT_EQ(findingIn(directory()), "generation 2") << name;
    }
}

TEST_F(LiveCacheTest, WritesEverythingWhenANewProcessBegins)
{
    putGeneration(4);
    publish();
    LiveCache next(fileSystem_, location_, ObjectNamespace("VAULT"));
    for (const CacheObject& object : objectsOfGeneration(2)) {
        next.put(object);
    }

    EXPECT_EQ(next.publish(OPERATIONS), 2U);

    EXPECT_EQ(findingIn(directory()), "generation 2");
}

TEST_F(LiveCacheTest, UsesRecordsAgainSoThatFilesDoNotGrowWithoutNeed)
{
    const auto cycle = [this](int number) {
        for (int object = 0; object < 50; ++object) {
            CacheObject put;
            put.ns = ObjectNamespace("VAULT", std::to_string(number), "box-" + std::to_string(object));
            put.own.add(number, Operation{object});
            cache_.put(put);
        }
        publish();
        for (int object = 0; object < 50; ++object) {
            cache_.remove(ObjectNamespace("VAULT", std::to_string(number), "box-" + std::to_string(object)));
        }
        publish();
    };
    cycle(100);
    const auto sizes = fileSizes();
    for (int number = 101; number < 160; ++number) {
        cycle(number);
    }

    EXPECT_EQ(fileSizes(), sizes);
    EXPECT_EQ(cache_.objectCount(), 0U);
}

TEST_F(LiveCacheTest, GrowsFilesInStepsSoThatReadersSeldomMapThemAnew)
{
    putGeneration(4);
    publish();
    std::set<std::uintmax_t> sizes;
    for (int added = 0; added < 12; ++added) {
        CacheObject object;
        object.ns = ObjectNamespace("VAULT", "new-" + std::to_string(added));
        cache_.put(object);
        publish();
        sizes.insert(fs::file_size(file("objects")));
    }

    EXPECT_EQ(sizes.size(), 4U) << "162 objects, with room for two more";
    EXPECT_TRUE(std::all_of(sizes.begin(), sizes.end(), [](std::uintmax_t size) { return size % 16 == 0; }));
}

/// Names of three letters, in ascending order: each is one segment.
std::string siblingName(std::size_t number)
{
    static const std::string letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::size_t base = letters.size();
    return {letters[number / base / base], letters[number / base % base], letters[number % base]};
}

TEST_F(LiveCacheTest, KeepsALevelOfManySiblingsLow)
{
    constexpr std::size_t siblings = 30'000;
    for (std::size_t sibling = 0; sibling < siblings; ++sibling) {
        CacheObject object;
        object.ns = ObjectNamespace("VAULT", siblingName(sibling));
        cache_.put(object);
    }
    publish();

    ksrbac::FaultList faults(3);
    const ksrbac::CacheReport report = ksrbac::examineCache(directory(), faults);
    EXPECT_EQ(faults.count(), 0U);
    EXPECT_EQ(report.objects.used, siblings);
    EXPECT_LE(report.deepestTree, 15U) << "as low as can be";
}

} // namespace
} // namespace keepsafe_test
