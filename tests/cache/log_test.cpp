// What the log says of a cache that cannot be read: when, and how often.

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/questions/cache_state.h>

#include "cache/LockingSink.h"
#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using testing::ElementsAre;
using testing::SizeIs;
namespace fs = std::filesystem;

class CacheLog : public testing::Test {
protected:
    [[nodiscard]] std::string directory() const { return root_.path("cache"); }
    [[nodiscard]] std::string manifest() const { return directory() + "/manifest.json"; }
    [[nodiscard]] AccessCache opened(const CacheWriter& writer) const
    {
        writer.write(directory(), "|KEEPSAFE|");
        return AccessCache(Manifest("id", directory()));
    }
    static CacheWriter interrupted()
    {
        CacheWriter writer;
        writer.metadata.writeInProgress = 1;
        return writer;
    }
    static CacheWriter damaged()
    {
        CacheWriter writer;
        writer.metadata.segmentRoot = 4096;
        return writer;
    }

    /// Asks until the log has that many lines; returns how often. Each time the status must be 12.
    template <typename Question>
    static int askUntil(const CapturedLog& log, std::size_t lines, const Question& question)
    {
        int asked = 0;
        while (log.lines().size() < lines) {
            EXPECT_EQ(thrownStatus(question), 12) << "each time";
            ++asked;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return asked;
    }

    TempRoot root_;
};

TEST_F(CacheLog, OfAnInterruptedCacheIsWrittenWithoutTheLock)
{
    const AccessCache cache = opened(interrupted());
    EXPECT_EQ(linesWithoutTheLock(manifest(), [&] { (void)cache.lock(); }), 1);
}

TEST_F(CacheLog, OfADamagedCacheIsWrittenWithoutTheLock)
{
    const AccessCache cache = opened(damaged());
    EXPECT_EQ(linesWithoutTheLock(manifest(), [&] { (void)cache.lock().lookup(ObjectNamespace()); }), 1);
}

TEST_F(CacheLog, OfAFileThatIsCutShortIsWrittenWithoutTheLock)
{
    AccessModel model;
    model.objects[ObjectNamespace("A")] = {};
    const AccessCache cache = opened(CacheWriter(model, {}));
    const auto ask = [&] {
        const AccessCache::Reader reader = cache.lock();
        fs::resize_file(directory() + "/segments", 0);
        (void)reader.lookup(ObjectNamespace("A"));
    };
    EXPECT_EQ(linesWithoutTheLock(manifest(), ask), 1);
}

TEST_F(CacheLog, OfAManifestThatWasReplacedAndCannotBeReadIsWrittenWithoutTheLock)
{
    const AccessCache cache = opened(CacheWriter());
    fs::rename(directory(), root_.path("before"));
    CacheWriter().write(directory(), "|KEEPSAFE|");
    writeFile(manifest(), "no JSON");
    const auto untilNoticed = [&] {
        for (;;) {
            (void)cache.lock();
        }
    };
    EXPECT_EQ(linesWithoutTheLock(manifest(), untilNoticed), 1);
}

TEST_F(CacheLog, OfAMalformedOperationCacheIsWrittenWithoutTheLock)
{
    writeFile(OperationCache::fileName(), "no JSON");
    writeFile(OperationCache::fileName() + ".lck", "");
    OperationCache operations;
    const auto ask = [&] { (void)operations[ObjectNamespace("A")]; };
    EXPECT_EQ(linesWithoutTheLock(OperationCache::fileName() + ".lck", ask), 2)
        << "that it is read, and that it cannot be";
}

TEST_F(CacheLog, OfAHeaderThatCannotBeReadIsWrittenWithoutTheLock)
{
    CacheWriter().write(directory(), "|KEEPSAFE|");
    fs::resize_file(directory() + "/metadata", 5);
    const auto ask = [&] { (void)Tessara::Keepsafe::Rbac::cacheState(directory()); };
    EXPECT_EQ(linesWithoutTheLock(manifest(), ask), 1);
}

TEST_F(CacheLog, HasEqualLinesOnceASecondWithTheNumberOfThoseHeldBack)
{
    const AccessCache cache = opened(interrupted());
    const CapturedLog log;
    const std::string text = "A previous write on cache |KEEPSAFE| was interrupted. Assuming invalid.";
    const int asked = askUntil(log, 2, [&] { (void)cache.lock(); });
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "AccessCache::Reader", text},
                            LogLine{16, "AccessCache::Reader",
                                    text + " (" + std::to_string(asked - 2) + " more like this)"}));
}

TEST_F(CacheLog, HasEqualLinesOfALockThatCannotBeTakenOnceASecond)
{
    const AccessCache cache = opened(CacheWriter());
    fs::remove(manifest());
    const CapturedLog log;
    const std::string text = "Cannot lock " + manifest() + ": No such file or directory";
    const int asked = askUntil(log, 2, [&] { (void)cache.lock(); });
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "FileLockGuard", text},
                            LogLine{16, "FileLockGuard",
                                    text + " (" + std::to_string(asked - 2) + " more like this)"}));
}

TEST_F(CacheLog, HasTheLinesOfEachCacheAndEachFault)
{
    const AccessCache first = opened(damaged());
    const AccessCache second(Manifest("id", directory()));
    const CapturedLog log;
    for (const AccessCache* cache : {&first, &second}) {
        EXPECT_EQ(thrownStatus([&] { (void)cache->lock().lookup(ObjectNamespace()); }), 12);
        EXPECT_EQ(thrownStatus([&] { (void)cache->lock().getManagedObject(4096); }), 12);
    }
    EXPECT_THAT(log.lines(), SizeIs(4));
}

TEST_F(CacheLog, OfOneReaderIsBounded)
{
    const AccessCache cache = opened(damaged());
    const CapturedLog log;
    {
        const AccessCache::Reader reader = cache.lock();
        for (std::uint32_t offset = 1; offset <= 1000; ++offset) {
            EXPECT_EQ(thrownStatus([&] { (void)reader.getManagedObject(offset * 4096); }), 12);
        }
    }
    EXPECT_THAT(log.lines(), SizeIs(64));
}

TEST_F(CacheLog, WarnsOnceOfEachFileThatEverybodyMayWrite)
{
    CacheWriter().write(directory(), "|KEEPSAFE|");
    for (const char* const name : {"", "/manifest.json", "/nodes"}) {
        ASSERT_EQ(::chmod((directory() + name).c_str(), 0777), 0);
    }
    const CapturedLog log(8);
    const AccessCache first(Manifest("id", directory()));
    const AccessCache second(Manifest("id", directory()));
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{8, "AccessCache", directory() + " is writable by everybody"},
                            LogLine{8, "AccessCache", manifest() + " is writable by everybody"},
                            LogLine{8, "AccessCache", directory() + "/nodes is writable by everybody"}));
    EXPECT_NO_THROW((void)second.lock()) << "it is used nevertheless";
}

TEST_F(CacheLog, DoesNotWarnOfAFolderInWhichOnlyOwnersReplaceFiles)
{
    CacheWriter().write(directory(), "|KEEPSAFE|");
    ASSERT_EQ(::chmod(directory().c_str(), 01777), 0);
    const CapturedLog log(8);
    const AccessCache cache(Manifest("id", directory()));
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

} // namespace
} // namespace keepsafe_test
