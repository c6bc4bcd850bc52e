#include <keepsafe/platform/log/log_sink.h>

#include <atomic>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <keepsafe/platform/log/logmsg.h>

#include "RedirectedStderr.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

/// Puts the sink and the threshold back at the end of a test.
class LogSink : public testing::Test {
    CapturedLog before_;
};
using FileSink = LogSink;
using StderrSink = LogSink;

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// What follows time, level, process and thread; fails when the line does not begin with them.
std::string messageOf(const std::string& line)
{
    static const std::regex prefix(
        R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z (?:debug|information|notable|error)\(\d+\) \d+/\d+ (.*))");
    std::smatch match;
    EXPECT_TRUE(std::regex_match(line, match, prefix)) << line;
    return match[1];
}

class CountingSink : public Platform::LogSink {
public:
    explicit CountingSink(std::atomic<int>& messages) : messages_(messages) {}
    ~CountingSink() override { alive_ = false; }
    void write(const Platform::LogRecord& /*record*/) noexcept override
    {
        EXPECT_TRUE(alive_);
        ++messages_;
    }

private:
    std::atomic<int>& messages_;
    std::atomic<bool> alive_{true};
};

TEST(LogSettings, BeginWithStandardErrorAndNotableMessages)
{
    EXPECT_EQ(Platform::logThreshold(), 8);
    const RedirectedStderr output;
    logmsgf(8, "tag", "written");
    logmsgf(7, "tag", "dropped");
    const std::vector<std::string> lines = linesOf(output.content());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(messageOf(lines[0]), "tag: written");
}

TEST_F(LogSink, GetsTheMessageUnchanged)
{
    const CapturedLog log;
    logmsgf(16, "Tag\n", "two\nlines %c", 7);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{16, "Tag\n", "two\nlines \a"}}));
}

TEST_F(LogSink, IsHandedBackWhenReplaced)
{
    std::atomic<int> messages{0};
    const auto sink = std::make_shared<CountingSink>(messages);
    Platform::setLogSink(sink);
    EXPECT_EQ(Platform::setLogSink(nullptr), sink);
}

TEST_F(LogSink, OfNullIsStandardErrorAndHandedBackAsASink)
{
    Platform::setLogSink(nullptr);
    const RedirectedStderr output;
    logmsgf(16, "tag", "one");
    const std::shared_ptr<Platform::LogSink> before = Platform::setLogSink(nullptr);
    ASSERT_NE(before, nullptr);
    before->write({16, "tag", "two"});
    const std::vector<std::string> lines = linesOf(output.content());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(messageOf(lines[0]), "tag: one");
    EXPECT_EQ(messageOf(lines[1]), "tag: two");
}

TEST_F(LogSink, ThatWasReplacedIsReleased)
{
    std::atomic<int> messages{0};
    auto sink = std::make_shared<CountingSink>(messages);
    const std::weak_ptr<CountingSink> watch = sink;
    Platform::setLogSink(std::move(sink));
    EXPECT_FALSE(watch.expired());
    Platform::setLogSink(nullptr);
    EXPECT_TRUE(watch.expired());
}

TEST_F(LogSink, IsReplacedWhileOthersLogAndNoMessageIsLost)
{
    constexpr int THREADS = 4;
    constexpr int MESSAGES = 2000;
    std::atomic<int> written{0};
    std::atomic<int> running{THREADS};
    Platform::setLogSink(std::make_shared<CountingSink>(written));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&running] {
            for (int message = 0; message < MESSAGES; ++message) {
                logmsgf(16, "tag", "message %d", message);
            }
            --running;
        });
    }
    while (running > 0) {
        Platform::setLogSink(std::make_shared<CountingSink>(written));
        Platform::setLogThreshold(Platform::logThreshold());
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(written, THREADS * MESSAGES);
}

TEST_F(LogSink, MayItselfReplaceTheSink)
{
    class OneMessage : public Platform::LogSink {
        void write(const Platform::LogRecord& /*record*/) noexcept override
        {
            Platform::setLogSink(std::make_shared<CountingSink>(messages_));
        }
        std::atomic<int>& messages_;

    public:
        explicit OneMessage(std::atomic<int>& messages) : messages_(messages) {}
    };
    std::atomic<int> messages{0};
    Platform::setLogSink(std::make_shared<OneMessage>(messages));
    logmsgf(16, "tag", "first");
    logmsgf(16, "tag", "second");
    EXPECT_EQ(messages, 1);
}

TEST_F(StderrSink, LosesMessagesAndNothingElseWhenStandardErrorIsClosed)
{
    const RedirectedStderr restoresStandardError;
    ::close(STDERR_FILENO);
    Platform::makeStderrSink()->write({16, "tag", "text"});
}

TEST_F(FileSink, AppendsLinesToTheFile)
{
    const TempDir folder;
    const std::string path = folder.path("log");
    Platform::makeFileSink(path)->write({16, "tag", "one"});
    Platform::makeFileSink(path)->write({2, "tag", "two\nhalves"});
    const std::vector<std::string> lines = linesOf(readFile(path));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(messageOf(lines[0]), "tag: one");
    EXPECT_EQ(messageOf(lines[1]), "tag: two\\x0Ahalves");
}

TEST_F(FileSink, WritesEachMessageAtOnce)
{
    const TempDir folder;
    const auto sink = Platform::makeFileSink(folder.path("log"));
    sink->write({16, "tag", "text"});
    EXPECT_EQ(linesOf(readFile(folder.path("log"))).size(), 1U);
}

TEST_F(FileSink, MakesAFileThatOthersCannotRead)
{
    const TempDir folder;
    const mode_t before = ::umask(0);
    Platform::makeFileSink(folder.path("log"));
    ::umask(before);
    struct stat status {};
    ASSERT_EQ(::stat(folder.path("log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(FileSink, ThatCannotBeOpenedNamesFileAndReason)
{
    const TempDir folder;
    const auto reasonFor = [](const std::string& path) -> std::string {
        return thrownBy<std::runtime_error>([&path] { Platform::makeFileSink(path); }).what();
    };
    EXPECT_EQ(reasonFor(folder.path()), "cannot open the log file \"" + folder.path() + "\": Is a directory");
    EXPECT_EQ(reasonFor(folder.path("none/log")),
              "cannot open the log file \"" + folder.path("none/log") + "\": No such file or directory");
}

TEST_F(FileSink, LosesMessagesAndNothingElseWhenTheDiskIsFull)
{
    const auto sink = Platform::makeFileSink("/dev/full");
    sink->write({16, "tag", "text"});
}

TEST_F(FileSink, ClosesItsDescriptor)
{
    const TempDir folder;
    const auto lowestFreeDescriptor = [] {
        const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(descriptor);
        return descriptor;
    };
    const int before = lowestFreeDescriptor();
    auto sink = Platform::makeFileSink(folder.path("log"));
    EXPECT_NE(lowestFreeDescriptor(), before);
    sink.reset();
    EXPECT_EQ(lowestFreeDescriptor(), before);
}

TEST_F(FileSink, IsNotInheritedByOtherPrograms)
{
    const TempDir folder;
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    const auto sink = Platform::makeFileSink(folder.path("log"));
    EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
}

/// Writes `count` messages of one sink, long enough that mixed lines would show.
void writeMessages(Platform::LogSink& sink, int writer, int count)
{
    for (int message = 0; message < count; ++message) {
        const std::string text =
            std::to_string(writer) + "." + std::to_string(message) + " " + std::string(5000, 'x') + ".";
        sink.write({16, "tag", text});
    }
}

void expectWholeLines(const std::string& path, int writers, int count)
{
    std::set<std::string> seen;
    for (const std::string& line : linesOf(readFile(path))) {
        const std::string text = line.substr(line.find("tag: "));
        const std::string number = text.substr(5, text.find(' ', 5) - 5);
        EXPECT_EQ(text, "tag: " + number + " " + std::string(5000, 'x') + ".");
        EXPECT_TRUE(seen.insert(number).second) << number;
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(writers * count));
}

TEST_F(FileSink, KeepsTheLinesOfThreadsApart)
{
    const TempDir folder;
    const auto sink = Platform::makeFileSink(folder.path("log"));
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 4; ++writer) {
        threads.emplace_back([&sink, writer] { writeMessages(*sink, writer, 200); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    expectWholeLines(folder.path("log"), 4, 200);
}

TEST_F(FileSink, KeepsTheLinesOfProcessesApart)
{
    const TempDir folder;
    std::vector<pid_t> children;
    for (int writer = 0; writer < 4; ++writer) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            writeMessages(*Platform::makeFileSink(folder.path("log")), writer, 200);
            ::_exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    expectWholeLines(folder.path("log"), 4, 200);
}

} // namespace
} // namespace keepsafe_test
