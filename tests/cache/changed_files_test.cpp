/// Files of a cache that are replaced, removed or cut short under readers.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "platform/filelock/slots_support.h"
#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

const std::string MOVED_AWAY = ".before";

/// With and without the page by which readers do without system calls.
class ChangedFilesTest : public testing::TestWithParam<bool> {
protected:
    ChangedFilesTest()
    {
        write(directory_, 1);
        cache_ = std::make_unique<AccessCache>(Manifest("id", directory_));
        if (GetParam()) {
            makeControlPage(lock());
        }
        EXPECT_TRUE(grants(1));
    }

    /// A cache that grants role 1 the operation of that number on |N|.
    static void write(const std::string& directory, int operation, const std::string& ns = "|KEEPSAFE|")
    {
        AccessModel model;
        model.objects[ObjectNamespace("N")].own[1] = {operation};
        CacheWriter(model, {}).write(directory, ns);
    }
    [[nodiscard]] FileLock lock() const
    {
        return FileLockManager::instance().getLock(directory_ + "/manifest.json");
    }
    [[nodiscard]] std::string file(const std::string& name) const { return directory_ + '/' + name; }

    [[nodiscard]] bool grants(int operation) const
    {
        return cache_->lock().getOperationBit(ObjectNamespace("N"), 1, Operation{operation});
    }
    [[nodiscard]] int statusOfAQuestion() const
    {
        try {
            static_cast<void>(grants(1));
            return 0;
        } catch (const EC_exception& failure) {
            return failure.status();
        }
    }
    /// The time by which readers have noticed, and some more for a busy machine.
    static void letTimePass() { std::this_thread::sleep_for(std::chrono::milliseconds(25)); }

    void replaceFolder(int operation, const std::string& ns = "|KEEPSAFE|") const
    {
        write(directory_ + ".new", operation, ns);
        std::filesystem::rename(directory_, directory_ + MOVED_AWAY);
        std::filesystem::rename(directory_ + ".new", directory_);
    }

    TempDir dir_;
    std::string directory_ = dir_.path("cache");
    std::unique_ptr<AccessCache> cache_;
};

INSTANTIATE_TEST_SUITE_P(Readers, ChangedFilesTest, testing::Bool(), [](const auto& reader) {
    return std::string(reader.param ? "BySlot" : "ByKernelLock");
});

TEST_P(ChangedFilesTest, FolderThatIsReplacedIsReadFromThenOn)
{
    replaceFolder(2);
    letTimePass();
    EXPECT_TRUE(grants(2));
    EXPECT_FALSE(grants(1));
}

TEST_P(ChangedFilesTest, FolderThatIsReplacedAfterItsOldFilesWereMarkedIsReadFromThenOn)
{
    write(directory_ + ".new", 2);
    std::fstream(file("metadata"), std::ios::in | std::ios::out).seekp(20).put(1);
    std::filesystem::rename(directory_, directory_ + MOVED_AWAY);
    std::filesystem::rename(directory_ + ".new", directory_);
    letTimePass();
    EXPECT_TRUE(grants(2));
}

TEST_P(ChangedFilesTest, FilesThatWereMarkedAreLookedForAtOnce)
{
    write(directory_ + ".new", 2);
    std::fstream marked(file("metadata"), std::ios::in | std::ios::out);
    EXPECT_TRUE(grants(1)) << "which has just looked at the files";
    marked.seekp(20).put(1).flush();
    std::filesystem::rename(directory_, directory_ + MOVED_AWAY);
    std::filesystem::rename(directory_ + ".new", directory_);
    EXPECT_TRUE(grants(2));
}

TEST_P(ChangedFilesTest, SingleFileThatIsReplacedIsReadFromThenOn)
{
    write(directory_ + ".new", 2);
    std::filesystem::rename(directory_ + ".new/nodes", file("nodes"));
    letTimePass();
    EXPECT_TRUE(grants(2));
    EXPECT_FALSE(grants(1));
}

TEST_P(ChangedFilesTest, FilesThatAreGoneAnswerNothing)
{
    const CapturedLog log;
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        std::filesystem::rename(file(name), file(name) + MOVED_AWAY);
        letTimePass();
        EXPECT_EQ(statusOfAQuestion(), 12) << name;
        EXPECT_THAT(log.lines(),
                    testing::Contains(
                        LogLine{16, "AccessCache", "Cache |KEEPSAFE| cannot be read: its files are gone"}));
        std::filesystem::rename(file(name) + MOVED_AWAY, file(name));
    }
    letTimePass();
    EXPECT_TRUE(grants(1));
}

TEST_P(ChangedFilesTest, FilesOfAnotherNamespaceAnswerNothing)
{
    replaceFolder(1, "|OTHER|");
    letTimePass();
    const CapturedLog log;
    EXPECT_EQ(statusOfAQuestion(), 12);
    EXPECT_THAT(
        log.lines(),
        testing::Contains(LogLine{
            16, "AccessCache", "Cache |KEEPSAFE| cannot be read: its files are those of another namespace"}));
}

TEST_P(ChangedFilesTest, ManifestIsNotReadAgainWhileTheFilesStay)
{
    writeFile(file("manifest.json"), "no JSON");
    letTimePass();
    EXPECT_TRUE(grants(1));
}

TEST_P(ChangedFilesTest, FileThatIsCutShortUnderAReaderIsStatus12AndReadAgainWhenItIsWhole)
{
    for (const char* name : {"objects", "nodes", "segments"}) {
        const std::string whole = readFile(file(name));
        {
            const AccessCache::Reader reader = cache_->lock();
            std::filesystem::resize_file(file(name), 0);
            try {
                static_cast<void>(reader.getOperationBit(ObjectNamespace("N"), 1, Operation{1}));
                ADD_FAILURE() << name << " was cut short and answers";
            } catch (const EC_exception& failure) {
                EXPECT_EQ(failure.status(), 12) << name;
            }
        }
        writeFile(file(name), whole);
        letTimePass();
        EXPECT_TRUE(grants(1)) << name;
    }
}

TEST_P(ChangedFilesTest, HeaderThatIsCutShortIsStatus12AndReadAgainWhenItIsWhole)
{
    const std::string whole = readFile(file("metadata"));
    std::filesystem::resize_file(file("metadata"), 0);
    EXPECT_EQ(statusOfAQuestion(), 12);
    letTimePass();
    EXPECT_EQ(statusOfAQuestion(), 12);
    writeFile(file("metadata"), whole);
    letTimePass();
    EXPECT_TRUE(grants(1));
}

TEST_P(ChangedFilesTest, FileThatIsCopiedOverUnderReadersNeverEndsTheProcess)
{
    write(directory_ + ".new", 2);
    for (int round = 0; round < 50; ++round) {
        for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
            std::filesystem::resize_file(file(name), 0);
            static_cast<void>(statusOfAQuestion());
            writeFile(file(name), readFile(directory_ + ".new/" + name));
        }
    }
    letTimePass();
    EXPECT_TRUE(grants(2));
}

TEST_P(ChangedFilesTest, ChildrenThatAreForkedWhileFilesGrowAnswer)
{
    std::atomic<bool> isOver{false};
    std::thread grows([&] {
        while (!isOver) {
            std::ofstream(file("nodes"), std::ios::app) << std::string(24, '\0');
            static_cast<void>(statusOfAQuestion());
        }
    });
    for (int child = 0; child < 100; ++child) {
        EXPECT_EQ(Process::fork([this] { return grants(1) ? 0 : 1; }).wait().exitStatus, 0);
    }
    isOver = true;
    grows.join();
}

/// Puts another file under every descriptor of this process that is open on the path.
int takeDescriptorsOf(const std::string& path, const std::string& other)
{
    int taken = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry.path(), error) == path) {
            const int descriptor = std::stoi(entry.path().filename());
            const int replacement = open(other.c_str(), O_RDONLY);
            dup2(replacement, descriptor);
            close(replacement);
            ++taken;
        }
    }
    return taken;
}

TEST_P(ChangedFilesTest, DescriptorsThatTheHostProgramHasTakenChangeNoAnswer)
{
    write(directory_ + ".new", 2);
    for (const char* name : {"metadata", "objects", "nodes", "segments"}) {
        EXPECT_EQ(takeDescriptorsOf(file(name), directory_ + ".new/" + name), 1);
    }
    EXPECT_TRUE(grants(1));
    letTimePass();
    EXPECT_TRUE(grants(1));
    EXPECT_FALSE(grants(2));
    cache_.reset();
    EXPECT_EQ(takeDescriptorsOf(directory_ + ".new/nodes", "/dev/null"), 1) << "the host's own stays open";
}

} // namespace
} // namespace keepsafe_test
