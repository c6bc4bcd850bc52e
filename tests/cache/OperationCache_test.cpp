#include <keepsafe/cache/OperationCache.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/lexical_cast.hpp>
#include <boost/numeric/conversion/cast.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

constexpr char LOAD_TAG[] = "OperationCache::load";
constexpr char LOOKUP_TAG[] = "OperationCache::operator[]";

const LogLine RELOADING_VIEW{8, LOOKUP_TAG,
                             "Operation |OPERATIONS|VIEW| not found in cache; reloading from disk"};

class OperationCacheTest : public testing::Test {
protected:
    void write(const std::string& json) { writeFile(OperationCache::fileName(), json); }

    int statusOfLookup()
    {
        return thrownStatus([this] { (void)cache_[operations::VIEW]; });
    }

    TempRoot root_;
    CapturedLog log_;
    OperationCache cache_;
};

TEST_F(OperationCacheTest, TheFileHangsUnderTheInstallationRoot)
{
    EXPECT_EQ(OperationCache::fileName(), root_.path("wmc/webserver/temp/operation-cache.json"));
}

TEST_F(OperationCacheTest, TheFirstLookupReadsTheFileOnce)
{
    write(R"({"|OPERATIONS|VIEW|": 5, "|OPERATIONS|ADD|": 37})");
    const auto view = cache_[operations::VIEW];
    ASSERT_TRUE(view);
    EXPECT_EQ(view->offset, 5);
    const auto add = cache_[operations::ADD];
    ASSERT_TRUE(add);
    EXPECT_EQ(add->offset, 37);
    EXPECT_THAT(log_.lines(), ElementsAre(RELOADING_VIEW));
}

TEST_F(OperationCacheTest, AnUnknownOperationIsEmptyAfterOneReloadPerLookup)
{
    write("{}");
    EXPECT_FALSE(cache_[operations::VIEW]);
    const LogLine stillMissing{16, LOOKUP_TAG, "Operation |OPERATIONS|VIEW| still not found in cache"};
    EXPECT_THAT(log_.lines(), ElementsAre(RELOADING_VIEW, stillMissing));
    EXPECT_FALSE(cache_[operations::VIEW]);
    EXPECT_THAT(log_.lines(), ElementsAre(RELOADING_VIEW, stillMissing, RELOADING_VIEW, stillMissing));
}

TEST_F(OperationCacheTest, AnOperationDefinedLaterIsFoundWithoutARestart)
{
    write("{}");
    EXPECT_FALSE(cache_[operations::VIEW]);
    write(R"({"|OPERATIONS|VIEW|": 9})");
    EXPECT_EQ(cache_[operations::VIEW]->offset, 9);
}

TEST_F(OperationCacheTest, AKnownOperationKeepsItsFirstValue)
{
    write(R"({"|OPERATIONS|VIEW|": 1})");
    ASSERT_EQ(cache_[operations::VIEW]->offset, 1);
    write(R"({"|OPERATIONS|VIEW|": 2, "|OPERATIONS|ADD|": 3})");
    ASSERT_EQ(cache_[operations::ADD]->offset, 3);
    EXPECT_EQ(cache_[operations::VIEW]->offset, 1);
}

TEST_F(OperationCacheTest, AnOperationRemovedFromTheFileStaysKnown)
{
    write(R"({"|OPERATIONS|VIEW|": 1})");
    ASSERT_TRUE(cache_[operations::VIEW]);
    write("{}");
    cache_.load();
    EXPECT_TRUE(cache_[operations::VIEW]);
}

TEST_F(OperationCacheTest, OfTwoSpellingsOfOneNameTheFirstWins)
{
    write(R"({"|OPERATIONS|VI%45W|": 1, "|OPERATIONS|VIEW|": 2})");
    EXPECT_EQ(cache_[operations::VIEW]->offset, 1);
}

TEST_F(OperationCacheTest, AFileThatIsTooLongIsStatus13AndNotReadToItsEnd)
{
    write("{}");
    std::filesystem::resize_file(OperationCache::fileName(), std::uintmax_t{1} << 40U);
    EXPECT_EQ(statusOfLookup(), 13);
    EXPECT_THAT(log_.lines(),
                ElementsAre(RELOADING_VIEW, LogLine{16, LOAD_TAG,
                                                    "Error loading operation cache: unable to read " +
                                                        OperationCache::fileName() + ": File too large"}));
}

TEST_F(OperationCacheTest, AMissingFileIsStatus13)
{
    std::filesystem::create_directories(root_.path("wmc/webserver/temp"));
    EXPECT_EQ(statusOfLookup(), 13);
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(RELOADING_VIEW, LogLine{16, LOAD_TAG,
                                            "Error loading operation cache: unable to open " +
                                                OperationCache::fileName() + ": No such file or directory"}));
}

TEST_F(OperationCacheTest, AFileThatIsGoneIsStatus13ForQuestionsAboutAllOperations)
{
    write(R"({"|OPERATIONS|VIEW|": 9})");
    cache_.reloadIfChanged();
    std::filesystem::remove(OperationCache::fileName());
    EXPECT_EQ(thrownStatus([this] { cache_.reloadIfChanged(); }), 13);
}

TEST_F(OperationCacheTest, AMissingFolderIsStatus13)
{
    EXPECT_EQ(statusOfLookup(), 13);
    EXPECT_THAT(log_.lines(16),
                testing::Contains(LogLine{
                    16, LOAD_TAG, "Error loading operation cache: its file lock cannot be acquired"}));
}

TEST_F(OperationCacheTest, AFileThatIsNoJsonIsStatus13)
{
    write("{\"|OPERATIONS|VIEW|\": }");
    EXPECT_EQ(statusOfLookup(), 13);
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(RELOADING_VIEW,
                    LogLine{16, LOAD_TAG, "Error loading operation cache: unexpected token near '}'"}));
}

TEST_F(OperationCacheTest, LoadItselfThrowsTheSameStatus)
{
    write("nonsense");
    EXPECT_EQ(thrownStatus([this] { cache_.load(); }), 13);
}

TEST_F(OperationCacheTest, ARootThatIsNoObjectAddsNothing)
{
    write("[1, 2]");
    cache_.load();
    EXPECT_THAT(cache_.operations(), IsEmpty());
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(OperationCacheTest, AKeyThatIsNoNamespaceThrowsAndKeepsWhatCameBefore)
{
    write(R"({"|OPERATIONS|VIEW|": 1, "OPERATIONS": 2, "|OPERATIONS|ADD|": 3})");
    EXPECT_THROW(cache_.load(), boost::bad_lexical_cast);
    EXPECT_THAT(cache_.operations(), SizeIs(1));
}

TEST_F(OperationCacheTest, AKeyThatIsNoNamespaceCountsBeforeItsValue)
{
    write(R"({"BAD": 2147483648})");
    EXPECT_THROW(cache_.load(), boost::bad_lexical_cast);
}

TEST_F(OperationCacheTest, AValueAbove32BitsOverflowsPositively)
{
    write(R"({"|OPERATIONS|VIEW|": 2147483648})");
    EXPECT_STREQ(
        thrownBy<boost::numeric::positive_overflow>([this] { (void)cache_[operations::VIEW]; }).what(),
        "bad numeric conversion: positive overflow");
}

TEST_F(OperationCacheTest, AValueBelow32BitsOverflowsNegatively)
{
    write(R"({"|OPERATIONS|VIEW|": -2147483649})");
    EXPECT_STREQ(
        thrownBy<boost::numeric::negative_overflow>([this] { (void)cache_[operations::VIEW]; }).what(),
        "bad numeric conversion: negative overflow");
}

TEST_F(OperationCacheTest, TheExtremesOf32BitsFit)
{
    write(R"({"|A|": 2147483647, "|B|": -2147483648})");
    EXPECT_EQ(cache_[ObjectNamespace("A")]->offset, 2147483647);
    EXPECT_EQ(cache_[ObjectNamespace("B")]->offset, -2147483647 - 1);
}

TEST_F(OperationCacheTest, AValueThatIsNoIntegerReadsAsZero)
{
    write(R"({"|OPERATIONS|VIEW|": "7", "|OPERATIONS|ADD|": 7.5})");
    EXPECT_EQ(cache_[operations::VIEW]->offset, 0);
    EXPECT_EQ(cache_[operations::ADD]->offset, 0);
}

TEST_F(OperationCacheTest, AnExceptionReleasesTheMutexAndTheFileLock)
{
    write("nonsense");
    ASSERT_EQ(statusOfLookup(), 13);
    const FileLock lock = FileLockManager::instance().getLock(OperationCache::fileName() + ".lck");
    EXPECT_NO_THROW(FileLockGuard(lock, FileLock::EXCLUSIVE, 0, FileLock::DEFAULT_INTERVAL));
    write(R"({"|OPERATIONS|VIEW|": 1})");
    EXPECT_EQ(cache_[operations::VIEW]->offset, 1);
}

TEST_F(OperationCacheTest, ALoadWaitsForTheWriter)
{
    write(R"({"|OPERATIONS|VIEW|": 1})");
    std::atomic<bool> written{false};
    std::atomic<bool> holding{false};
    std::thread writer([&] {
        const FileLock lock = FileLockManager::instance().getLock(OperationCache::fileName() + ".lck",
                                                                  FileLock::MissingFile::IsCreated);
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                  FileLock::DEFAULT_INTERVAL);
        holding = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        write(R"({"|OPERATIONS|VIEW|": 2})");
        written = true;
    });
    while (!holding) {
        std::this_thread::yield();
    }
    EXPECT_EQ(cache_[operations::VIEW]->offset, 2);
    EXPECT_TRUE(written);
    writer.join();
}

/// Counts how often a file is opened from now on. Closing it is watched, too, because the kernel merges equal
/// events that follow one another.
class OpenCounter {
public:
    explicit OpenCounter(const std::string& path) : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        if (fd_ == -1 || inotify_add_watch(fd_, path.c_str(), IN_OPEN | IN_CLOSE) == -1) {
            throw std::runtime_error("cannot watch " + path);
        }
    }
    ~OpenCounter() { close(fd_); }
    OpenCounter(const OpenCounter&) = delete;
    OpenCounter& operator=(const OpenCounter&) = delete;

    /// Opens since the last call.
    int count()
    {
        // A watch on a file itself, not on a folder, gives events without a name: all of one size.
        std::array<inotify_event, 256> events{};
        const ssize_t bytes = read(fd_, events.data(), sizeof events);
        const auto count = bytes <= 0 ? 0 : bytes / static_cast<ssize_t>(sizeof(inotify_event));
        return static_cast<int>(
            std::count_if(events.begin(), events.begin() + count,
                          [](const inotify_event& event) { return (event.mask & IN_OPEN) != 0; }));
    }

private:
    int fd_;
};

TEST_F(OperationCacheTest, EachLookupOfAnUnknownOperationOpensTheFileOnce)
{
    write("{}");
    OpenCounter opens(OperationCache::fileName());
    EXPECT_FALSE(cache_[operations::VIEW]);
    EXPECT_EQ(opens.count(), 1);
    EXPECT_FALSE(cache_[operations::VIEW]);
    EXPECT_EQ(opens.count(), 1);
}

TEST_F(OperationCacheTest, AHitOpensNothing)
{
    write(R"({"|OPERATIONS|VIEW|": 4})");
    ASSERT_TRUE(cache_[operations::VIEW]);
    OpenCounter opens(OperationCache::fileName());
    EXPECT_TRUE(cache_[operations::VIEW]);
    EXPECT_EQ(opens.count(), 0);
}

TEST_F(OperationCacheTest, ThreadsThatMissTheSameOperationAtOnceAllFindIt)
{
    write(R"({"|OPERATIONS|VIEW|": 4})");
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                const auto found = cache_[ObjectNamespace("OPERATIONS", "VIEW")];
                wrong += found && found->offset == 4 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_THAT(cache_.operations(), SizeIs(1));
}

/// Holds back everybody who writes a log line until it is opened.
class Gate : public Tessara::Keepsafe::Platform::LogSink {
public:
    void write(const Tessara::Keepsafe::Platform::LogRecord& record) noexcept override
    {
        if (record.level == 8) {
            ++waiting;
            while (waiting < 2) {
                std::this_thread::yield();
            }
        }
    }
    std::atomic<int> waiting{0};
};

TEST_F(OperationCacheTest, OfTwoConcurrentMissesOneReadsTheFile)
{
    write(R"({"|OPERATIONS|VIEW|": 4})");
    OpenCounter opens(OperationCache::fileName());
    // Both threads have missed and released the read lock before either may go on to take the write lock.
    const auto before = Tessara::Keepsafe::Platform::setLogSink(std::make_shared<Gate>());
    std::thread other([&] { EXPECT_TRUE(cache_[ObjectNamespace("OPERATIONS", "VIEW")]); });
    EXPECT_TRUE(cache_[operations::VIEW]);
    other.join();
    Tessara::Keepsafe::Platform::setLogSink(before);
    EXPECT_EQ(opens.count(), 1);
}

TEST_F(OperationCacheTest, ChildrenThatAreForkedWhileTheFileIsReadReadItToo)
{
    write(R"({"|OPERATIONS|VIEW|": 4})");
    std::atomic<bool> isOver{false};
    std::thread reads([&] {
        while (!isOver) {
            cache_.load();
        }
    });
    const auto readInChild = [this] {
        alarm(30);
        cache_.load();
        return cache_.operations().size() == 1 ? 0 : 1;
    };
    for (int child = 0; child < 100; ++child) {
        EXPECT_EQ(Process::fork(readInChild).wait().exitStatus, 0) << child;
    }
    isOver = true;
    reads.join();
}

TEST_F(OperationCacheTest, AFileThatEverybodyMayWriteIsWarnedOfOnce)
{
    write("{}");
    ASSERT_EQ(chmod(OperationCache::fileName().c_str(), 0666), 0);
    cache_.load();
    cache_.load();
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{8, LOAD_TAG, OperationCache::fileName() + " is writable by everybody"}));
}

} // namespace
} // namespace keepsafe_test
