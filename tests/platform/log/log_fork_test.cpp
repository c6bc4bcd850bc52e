#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/log/logmsg.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

/// Threads that log and replace the sink without a pause.
class BusyLogging {
public:
    explicit BusyLogging(const std::string& path)
    {
        for (int thread = 0; thread < 3; ++thread) {
            threads_.emplace_back([this] {
                while (!stop_) {
                    logmsgf(16, "parent", "text");
                }
            });
        }
        threads_.emplace_back([this, path] {
            while (!stop_) {
                Platform::setLogSink(Platform::makeFileSink(path));
            }
        });
    }
    ~BusyLogging()
    {
        stop_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    BusyLogging(const BusyLogging&) = delete;
    BusyLogging& operator=(const BusyLogging&) = delete;

private:
    std::atomic<bool> stop_{false};
    std::vector<std::thread> threads_;
};

// A child that hangs keeps the test waiting until ctest's time limit.
TEST(LogAfterFork, AChildLogsWhateverThreadsOfItsParentWereDoing)
{
    constexpr int CHILDREN = 200;
    const TempDir folder;
    const CapturedLog restoresTheSink;
    Platform::setLogSink(Platform::makeFileSink(folder.path("parent.log")));
    const std::string childPath = folder.path("child.log");
    {
        const BusyLogging others(folder.path("parent.log"));
        for (int round = 0; round < CHILDREN; ++round) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                logmsgf(16, "child", "through the inherited sink");
                Platform::setLogSink(Platform::makeFileSink(childPath));
                logmsgf(16, "child", "through its own sink, as process %d", static_cast<int>(::getpid()));
                ::_exit(0);
            }
            int status = -1;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            ASSERT_EQ(status, 0);
        }
    }
    const std::string lines = readFile(childPath);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), CHILDREN);
}

TEST(LogAfterFork, LinesCarryTheNumbersOfTheChild)
{
    const TempDir folder;
    const auto sink = Platform::makeFileSink(folder.path("log"));
    sink->write({16, "tag", "of the parent"});
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        sink->write({16, "tag", "of the child"});
        ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    const std::string lines = readFile(folder.path("log"));
    const std::string number = std::to_string(child);
    EXPECT_NE(lines.find(" " + number + "/" + number + " tag: of the child\n"), std::string::npos) << lines;
}

} // namespace
} // namespace keepsafe_test
