#include "cachewriter/CachePublisher.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>

#include "cachewriter/PublishError.h"
#include "files/FileError.h"
#include "files/PosixFileSystem.h"
#include "service/support/Generations.h"
#include "service/support/StoppedReader.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::CachePublisher;
using keepsafe_service::FileError;
using keepsafe_service::LockBusy;
using keepsafe_service::PosixFileSystem;
using keepsafe_service::PublishError;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::AllOf;
using testing::EndsWith;
using testing::StartsWith;
namespace fs = std::filesystem;

const std::string FILES[] = {"manifest.json", "metadata", "objects", "nodes", "segments", "counts"};

class CachePublisherTest : public testing::Test {
protected:
    std::uint64_t publish(unsigned generation)
    {
        PosixFileSystem fileSystem;
        return CachePublisher(fileSystem)
            .publish(directory(), ObjectNamespace("VAULT"), imageOfGeneration(generation));
    }

    std::string errorOf(unsigned generation)
    {
        return thrownBy<std::runtime_error>([&] { publish(generation); }).what();
    }

    [[nodiscard]] std::string directory() const { return dir_.path("caches/vault"); }
    [[nodiscard]] std::string file(const std::string& name) const { return directory() + "/" + name; }

    TempDir dir_;
    CapturedLog log_;
};

TEST_F(CachePublisherTest, MakesACacheThatTheLibraryReads)
{
    EXPECT_EQ(publish(1), 1U);

    EXPECT_EQ(findingIn(directory()), "generation 1");
    EXPECT_EQ(Manifest("id", directory()).ns, ObjectNamespace("VAULT"));
}

TEST_F(CachePublisherTest, CountsTheGenerations)
{
    publish(1);
    publish(1);

    EXPECT_EQ(publish(2), 3U);
}

TEST_F(CachePublisherTest, ReplacesTheContentForReadersThatHaveTheCacheOpen)
{
    publish(2);
    const AccessCache cache(Manifest("id", directory()));
    for (const unsigned generation : {3U, 1U, 4U, 2U}) {
        publish(generation);
        EXPECT_EQ(findingOf(cache), "generation " + std::to_string(generation));
    }
}

TEST_F(CachePublisherTest, KeepsEveryFileInItsPlaceAndNeverShrinksOne)
{
    publish(2);
    std::map<std::string, ino_t> inodes;
    std::map<std::string, std::uintmax_t> sizes;
    const auto inodeOf = [this](const std::string& name) {
        struct stat status = {};
        EXPECT_EQ(::stat(file(name).c_str(), &status), 0);
        return status.st_ino;
    };
    for (const std::string& name : FILES) {
        inodes[name] = inodeOf(name);
        sizes[name] = fs::file_size(file(name));
    }

    for (const unsigned generation : {1U, 4U, 3U}) {
        publish(generation);
        for (const std::string& name : FILES) {
            EXPECT_EQ(inodeOf(name), inodes[name]) << name;
            EXPECT_GE(fs::file_size(file(name)), sizes[name]) << name;
            sizes[name] = fs::file_size(file(name));
        }
    }
    EXPECT_EQ(sizes["objects"], 16U * (1 + 160)) << "what generation 4 needed";
    EXPECT_EQ(sizes["metadata"], 64U);
}

/// Calls a function before each write to a record file.
class WatchedFileSystem : public PosixFileSystem {
public:
    explicit WatchedFileSystem(std::function<void()> watch) : watch_(std::move(watch)) {}
    void write(const keepsafe_service::OpenFile& file, std::uint64_t offset, std::string_view bytes) override
    {
        if (fs::path(file.path()).filename() == "objects") {
            watch_();
        }
        PosixFileSystem::write(file, offset, bytes);
    }

private:
    std::function<void()> watch_;
};

TEST_F(CachePublisherTest, SetsTheFlagWhileItWritesAndClearsItAfterwards)
{
    publish(1);
    std::string metadataMeanwhile;
    WatchedFileSystem fileSystem([&] { metadataMeanwhile = readFile(file("metadata")); });
    CachePublisher(fileSystem).publish(directory(), ObjectNamespace("VAULT"), imageOfGeneration(2));

    EXPECT_EQ(metadataMeanwhile.at(20), 1);
    EXPECT_EQ(readFile(file("metadata")).at(20), 0);
}

TEST_F(CachePublisherTest, MarksACacheThatReadersThenRefuseUntilItIsPublished)
{
    publish(1);
    PosixFileSystem fileSystem;
    CachePublisher(fileSystem).mark(directory());
    EXPECT_EQ(findingIn(directory()), "refused");

    publish(2);
    EXPECT_EQ(findingIn(directory()), "generation 2");
}

TEST_F(CachePublisherTest, GivesUpWhenOthersHoldTheLockForTooLong)
{
    publish(1);
    const StoppedReader reader(file("manifest.json"));
    PosixFileSystem fileSystem;
    CachePublisher impatient(fileSystem, {std::chrono::milliseconds(600), nullptr});

    EXPECT_EQ(thrownBy<LockBusy>([&] {
                  impatient.publish(directory(), ObjectNamespace("VAULT"), imageOfGeneration(2));
              }).what(),
              file("manifest.json") + " is locked by others");
    ASSERT_EQ(log_.lines(8).size(), 1U);
    EXPECT_THAT(log_.lines(8)[0].text,
                AllOf(StartsWith("waiting since 2"), EndsWith("Z for the lock on " + file("manifest.json"))));
    EXPECT_EQ(findingIn(directory()), "generation 1");
}

TEST_F(CachePublisherTest, WaitsForNoLockAnyLongerWhenTheProgramIsToEnd)
{
    publish(1);
    const StoppedReader reader(file("manifest.json"));
    PosixFileSystem fileSystem;
    std::atomic<bool> isEnding = false;
    std::thread signal([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        isEnding = true;
    });
    const auto begin = std::chrono::steady_clock::now();
    CachePublisher patient(fileSystem, {std::chrono::hours(1), &isEnding});

    EXPECT_THROW(patient.publish(directory(), ObjectNamespace("VAULT"), imageOfGeneration(2)), LockBusy);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1500));
    signal.join();
}

TEST_F(CachePublisherTest, RepairsWhatAKilledWriterLeft)
{
    publish(1);
    std::string metadata = readFile(file("metadata"));
    metadata[20] = 1;
    writeFile(file("metadata"), metadata);
    writeFile(file("segments"), "half a rec");
    ASSERT_EQ(findingIn(directory()), "refused");

    publish(2);

    EXPECT_EQ(findingIn(directory()), "generation 2");
}

TEST_F(CachePublisherTest, KeepsTheGenerationBeforeWhenSpaceRunsOut)
{
    publish(1);
    const rlim_t limit = fs::file_size(file("objects")) + 100;
    Process writer = Process::fork([&] {
        static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
        const rlimit size = {limit, limit};
        ::setrlimit(RLIMIT_FSIZE, &size);
        return errorOf(4) == "cannot grow " + file("objects") + ": File too large" ? 0 : 1;
    });

    EXPECT_EQ(writer.wait().exitStatus, 0);
    EXPECT_EQ(findingIn(directory()), "generation 1");
}

TEST_F(CachePublisherTest, SaysThatReadersRefuseTheCacheWhenAWriteHasFailedMidway)
{
    publish(1);
    WatchedFileSystem fileSystem([] { throw FileError("cannot write it"); });

    EXPECT_EQ(
        thrownBy<PublishError>([&] {
            CachePublisher(fileSystem).publish(directory(), ObjectNamespace("VAULT"), imageOfGeneration(2));
        }).what(),
        "cannot write it; until it is published again, readers refuse " + directory());
    EXPECT_EQ(findingIn(directory()), "refused");
}

TEST_F(CachePublisherTest, RefusesWhatIsNoRegularFile)
{
    for (const std::string& name : FILES) {
        fs::remove_all(directory());
        fs::create_directories(file(name));
        EXPECT_EQ(errorOf(1), "cannot open " + file(name) + ": Is a directory");
    }
    fs::remove_all(directory());
    fs::create_directories(directory());
    ASSERT_EQ(::mkfifo(file("nodes").c_str(), 0600), 0);
    EXPECT_EQ(errorOf(1), "cannot open " + file("nodes") + ": it is not a regular file");
}

TEST_F(CachePublisherTest, RefusesAFileInTheDirectorysPlace)
{
    writeFile(directory(), "");

    EXPECT_EQ(errorOf(1), "cannot create the directory " + directory() + ": Not a directory");
}

TEST_F(CachePublisherTest, RefusesTheCacheOfAnotherProgramAndLeavesItAsItIs)
{
    publish(1);
    const std::string foreign = std::string(20, '\7') + std::string(44, '\0');
    writeFile(file("metadata"), foreign);
    const std::string segments = readFile(file("segments"));

    EXPECT_EQ(errorOf(2), file("metadata") + " was written by another program and is left as it is");
    EXPECT_EQ(readFile(file("metadata")), foreign);
    EXPECT_EQ(readFile(file("segments")), segments);
}

TEST_F(CachePublisherTest, SaysSoWhenItMayNotWrite)
{
    publish(1);
    ::chmod(dir_.path().c_str(), 0755);
    for (const std::string& name : FILES) {
        ::chmod(file(name).c_str(), 0444);
    }
    Process writer = Process::fork([&] {
        // Permissions do not bind root.
        if (::geteuid() == 0 && ::setuid(65534) != 0) {
            return 2;
        }
        return errorOf(2) == "cannot open " + file("manifest.json") + ": Permission denied" ? 0 : 1;
    });

    EXPECT_EQ(writer.wait().exitStatus, 0);
    EXPECT_EQ(findingIn(directory()), "generation 1");
}

} // namespace
} // namespace keepsafe_test
