/// What a cache holds of its files: mappings and descriptors, as the kernel lists them.

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/cache/AccessCache.h>

#include "platform/filelock/lock_descriptors.h"
#include "support/CacheWriter.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::detail::MemoryMap;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// The permissions of this process's mappings of a file; the last letter tells shared ones from private ones.
std::vector<std::string> mappingsOf(const std::string& path)
{
    std::vector<std::string> permissions;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.size() > path.size() && line.compare(line.size() - path.size(), path.size(), path) == 0) {
            permissions.push_back(line.substr(line.find(' ') + 1, 4));
        }
    }
    return permissions;
}

std::string textOf(const MemoryMap& map)
{
    return {reinterpret_cast<const char*>(map.address()), map.size()};
}

class MappingsTest : public testing::Test {
protected:
    MappingsTest() { write(1); }

    void write(int count)
    {
        AccessModel model;
        for (int i = 0; i < count; ++i) {
            model.objects[ObjectNamespace("N" + std::to_string(i))].own[1] = {i};
        }
        CacheWriter(model, {}).write(directory_);
    }
    /// As the service's writer would, with the lock held.
    void writeUnderTheLock(int count)
    {
        const FileLock lock = FileLockManager::instance().getLock(file("manifest.json"));
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                  FileLock::DEFAULT_INTERVAL);
        write(count);
    }
    [[nodiscard]] std::string file(const std::string& name) const { return directory_ + '/' + name; }

    /// What a reader says on standard error when the descriptors of these files are gone.
    std::string complaintWithout(const std::vector<std::string>& names)
    {
        const AccessCache cache(Manifest("id", directory_));
        (void)cache.lock();                 // now everything that it takes is open
        testing::internal::CaptureStderr(); // opens files of its own, so it comes first
        for (const std::string& name : names) {
            for (const int descriptor : descriptorsOf(file(name))) {
                close(descriptor);
            }
        }
        try {
            (void)cache.lock();
        } catch (const std::runtime_error&) {
        }
        return testing::internal::GetCapturedStderr();
    }

    TempDir dir_;
    std::string directory_ = dir_.path("cache");
};

TEST_F(MappingsTest, AreSharedWithTheWriterAndReadOnly)
{
    const AccessCache cache(Manifest("id", directory_));
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        EXPECT_THAT(mappingsOf(file(name)), ElementsAre("r--s")) << name;
    }
}

TEST_F(MappingsTest, OfAFileThatShrankAreRenewed)
{
    writeFile(dir_.path("file"), "abcdef");
    MemoryMap map(dir_.path("file"));
    writeFile(dir_.path("file"), "xyz");
    map.refresh();
    EXPECT_EQ(textOf(map), "xyz");
    writeFile(dir_.path("file"), "");
    map.refresh();
    EXPECT_EQ(map.address(), nullptr);
}

TEST_F(MappingsTest, OfACacheThatShrankAreRenewedByTheNextLock)
{
    write(500);
    const AccessCache cache(Manifest("id", directory_));
    (void)cache.lock();
    ASSERT_EQ(cache.managedObjectCount(), 501U);
    writeUnderTheLock(1);
    (void)cache.lock();
    EXPECT_EQ(cache.managedObjectCount(), 2U);
}

TEST_F(MappingsTest, AreReleasedWhenTheyAreRetiredAndNobodyReads)
{
    const AccessCache cache(Manifest("id", directory_));
    for (int count = 200; count < 1000; count += 200) {
        writeUnderTheLock(count);
        (void)cache.lock();
    }
    (void)cache.lock();
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        EXPECT_THAT(mappingsOf(file(name)), SizeIs(1)) << name;
    }
}

TEST_F(MappingsTest, AreReleasedByTheMapWhenItIsTold)
{
    writeFile(dir_.path("file"), "abc");
    MemoryMap map(dir_.path("file"));
    writeFile(dir_.path("file"), "abcdef");
    map.refresh();
    EXPECT_THAT(mappingsOf(dir_.path("file")), SizeIs(2));
    map.releaseRetired();
    EXPECT_THAT(mappingsOf(dir_.path("file")), SizeIs(1));
}

TEST_F(MappingsTest, AreAllReleasedAtTheEnd)
{
    {
        const AccessCache cache(Manifest("id", directory_));
        writeUnderTheLock(500);
        (void)cache.lock();
    }
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        EXPECT_THAT(mappingsOf(file(name)), IsEmpty()) << name;
        EXPECT_THAT(descriptorsOf(file(name)), IsEmpty()) << name;
    }
}

TEST_F(MappingsTest, ThatFailLeaveNoDescriptorBehind)
{
    testing::internal::CaptureStderr();
    EXPECT_THROW(const MemoryMap map(directory_), std::runtime_error);
    EXPECT_THAT(descriptorsOf(directory_), IsEmpty());
    std::filesystem::remove(file("segments"));
    EXPECT_THROW(const AccessCache cache(Manifest("id", directory_)), std::runtime_error);
    for (const char* name : {"metadata", "objects", "nodes"}) {
        EXPECT_THAT(mappingsOf(file(name)), IsEmpty()) << name;
        EXPECT_THAT(descriptorsOf(file(name)), IsEmpty()) << name;
    }
    testing::internal::GetCapturedStderr();
}

TEST_F(MappingsTest, OfAFileThatNobodyCanMapLeaveNoDescriptorBehind)
{
    const std::string file = "/sys/devices/system/cpu/online"; // a regular file of a page
    ASSERT_TRUE(std::filesystem::exists(file)) << "this test needs sysfs";
    testing::internal::CaptureStderr();
    EXPECT_THROW(const MemoryMap map(file), std::runtime_error);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "error mapping " + file + ": No such device\n");
    EXPECT_THAT(descriptorsOf(file), IsEmpty());
}

TEST_F(MappingsTest, DescriptorsAreClosedInProgramsThatAreStarted)
{
    const AccessCache cache(Manifest("id", directory_));
    (void)cache.lock();
    for (const char* name : {"metadata", "objects", "nodes", "segments", "manifest.json"}) {
        EXPECT_THAT(descriptorsOf(file(name)), Not(IsEmpty())) << name;
        for (const int descriptor : descriptorsOf(file(name))) {
            EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << name;
        }
    }
}

TEST_F(MappingsTest, AreRefreshedInTheOrderObjectsNodesSegments)
{
    const auto complaint = [this](const std::string& name) {
        return "error statting " + file(name) + ": Bad file descriptor\n";
    };
    EXPECT_EQ(complaintWithout({"objects", "nodes", "segments"}), complaint("objects"));
    EXPECT_EQ(complaintWithout({"nodes", "segments"}), complaint("nodes"));
    EXPECT_EQ(complaintWithout({"segments"}), complaint("segments"));
}

TEST_F(MappingsTest, OfTheHeaderAreNotRefreshed) { EXPECT_EQ(complaintWithout({"metadata"}), ""); }

} // namespace
} // namespace keepsafe_test
