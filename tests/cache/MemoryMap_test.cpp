#include <keepsafe/cache/detail/MemoryMap.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::detail::MemoryMap;
using testing::ElementsAre;

std::string contentOf(const MemoryMap& map)
{
    return {reinterpret_cast<const char*>(map.address()), map.size()};
}

void append(const std::string& path, const std::string& more) { writeFile(path, readFile(path) + more); }

TEST(MemoryMap, MapsTheWholeFile)
{
    const TempDir dir;
    writeFile(dir.path("file"), "content");
    const MemoryMap map(dir.path("file"));
    EXPECT_EQ(contentOf(map), "content");
    EXPECT_EQ(map.current_size(), 7U);
    EXPECT_EQ(map.path(), dir.path("file"));
}

TEST(MemoryMap, AnnouncesEachMapAtLevelFour)
{
    const TempDir dir;
    writeFile(dir.path("file"), "x");
    const CapturedLog log;
    const MemoryMap map(dir.path("file"));
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{4, "MemoryMap", "instantiating memory map for " + dir.path("file")}));
}

TEST(MemoryMap, AnEmptyFileMapsToNothing)
{
    const TempDir dir;
    writeFile(dir.path("file"), "");
    const MemoryMap map(dir.path("file"));
    EXPECT_EQ(map.address(), nullptr);
    EXPECT_EQ(map.size(), 0U);
}

TEST(MemoryMap, AMissingFileIsToldOnStandardErrorAndThrown)
{
    const TempDir dir;
    const CapturedLog log;
    testing::internal::CaptureStderr();
    EXPECT_STREQ(thrownBy<std::runtime_error>([&] { const MemoryMap map(dir.path("none")); }).what(),
                 "error opening file");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error opening " + dir.path("none") + ": No such file or directory\n");
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{4, "MemoryMap", "instantiating memory map for " + dir.path("none")}));
}

TEST(MemoryMap, AFolderCannotBeMapped)
{
    const TempDir dir;
    testing::internal::CaptureStderr();
    EXPECT_STREQ(thrownBy<std::runtime_error>([&] { const MemoryMap map(dir.path()); }).what(),
                 "error mapping file");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "error mapping " + dir.path() + ": No such device\n");
}

TEST(MemoryMap, AFifoOrADeviceIsNotOpenedAndNotWaitedFor)
{
    const TempDir dir;
    ASSERT_EQ(mkfifo(dir.path("fifo").c_str(), 0600), 0);
    for (const std::string& path : {dir.path("fifo"), std::string("/dev/zero")}) {
        testing::internal::CaptureStderr();
        EXPECT_STREQ(thrownBy<std::runtime_error>([&] { const MemoryMap map(path); }).what(),
                     "error opening file");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "error opening " + path + ": not a regular file\n");
    }
}

TEST(MemoryMap, AFifoThatReplacesTheFileIsNotWaitedFor)
{
    const TempDir dir;
    writeFile(dir.path("file"), "x");
    MemoryMap map(dir.path("file"));
    std::filesystem::remove(dir.path("file"));
    ASSERT_EQ(mkfifo(dir.path("file").c_str(), 0600), 0);
    testing::internal::CaptureStderr();
    EXPECT_THROW(map.reopen(), std::runtime_error);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error opening " + dir.path("file") + ": not a regular file\n");
}

/// The number that the next opened file gets.
int nextDescriptor()
{
    const int next = open("/dev/null", O_RDONLY);
    close(next);
    return next;
}

TEST(MemoryMap, AFailingSizeQueryIsToldOnStandardErrorAndThrown)
{
    const TempDir dir;
    writeFile(dir.path("file"), "x");
    testing::internal::CaptureStderr(); // opens files of its own, so it comes first
    const int next = nextDescriptor();  // the map's; closing it behind its back makes fstat fail
    const MemoryMap map(dir.path("file"));
    close(next);
    EXPECT_STREQ(thrownBy<std::runtime_error>([&] { (void)map.current_size(); }).what(),
                 "error statting file");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error statting " + dir.path("file") + ": Bad file descriptor\n");
}

TEST(MemoryMap, ADescriptorThatIsAnotherFilesByNowHasNoSize)
{
    const TempDir dir;
    writeFile(dir.path("file"), "x");
    testing::internal::CaptureStderr(); // opens files of its own, so it comes first
    const int next = nextDescriptor();
    const MemoryMap map(dir.path("file"));
    close(next);
    const int other = open("/dev/null", O_RDONLY);
    EXPECT_EQ(other, next);
    EXPECT_STREQ(thrownBy<std::runtime_error>([&] { (void)map.current_size(); }).what(),
                 "error statting file");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error statting " + dir.path("file") + ": Stale file handle\n");
    close(other);
}

TEST(MemoryMap, RefreshMapsAGrownFileAnew)
{
    const TempDir dir;
    writeFile(dir.path("file"), "abc");
    MemoryMap map(dir.path("file"));
    append(dir.path("file"), "def");
    EXPECT_EQ(map.size(), 3U);
    map.refresh();
    EXPECT_EQ(contentOf(map), "abcdef");
}

TEST(MemoryMap, RefreshKeepsTheMappingOfAnUnchangedFile)
{
    const TempDir dir;
    writeFile(dir.path("file"), "abc");
    MemoryMap map(dir.path("file"));
    const auto* before = map.address();
    map.refresh();
    EXPECT_EQ(map.address(), before);
}

TEST(MemoryMap, ARetiredMappingCanBeReadUntilItIsReleased)
{
    const TempDir dir;
    writeFile(dir.path("file"), "abc");
    MemoryMap map(dir.path("file"));
    const auto before = map.region();
    append(dir.path("file"), "def");
    map.refresh();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(before.address), before.size), "abc");
    map.releaseRetired();
    EXPECT_EQ(contentOf(map), "abcdef");
}

TEST(MemoryMap, AnEmptyFileThatGrowsIsMapped)
{
    const TempDir dir;
    writeFile(dir.path("file"), "");
    MemoryMap map(dir.path("file"));
    append(dir.path("file"), "x");
    map.refresh();
    EXPECT_EQ(contentOf(map), "x");
}

TEST(MemoryMap, UnmapAndMapReleaseAndRenewTheMapping)
{
    const TempDir dir;
    writeFile(dir.path("file"), "abc");
    MemoryMap map(dir.path("file"));
    map.unmap();
    EXPECT_EQ(map.address(), nullptr);
    EXPECT_EQ(map.size(), 0U);
    map.map();
    EXPECT_EQ(contentOf(map), "abc");
}

TEST(MemoryMap, SeesWhatTheWriterChangesInPlace)
{
    const TempDir dir;
    writeFile(dir.path("file"), "abc");
    const MemoryMap map(dir.path("file"));
    append(dir.path("file"), ""); // the same size, written through another descriptor
    writeFile(dir.path("file"), "xyz");
    EXPECT_EQ(contentOf(map), "xyz");
}

} // namespace
} // namespace keepsafe_test
