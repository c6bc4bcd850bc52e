/// Lines for which memory or the system's patience runs out. `write` here stands in for the C library's.

#include <keepsafe/platform/log/log_sink.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <keepsafe/platform/log/logmsg.h>

#include "rbac/api/FailingAllocation.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace {

int interruptions = 0; ///< still to come

} // namespace

extern "C" ssize_t write(int descriptor, const void* data, std::size_t size)
{
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return ::syscall(SYS_write, descriptor, data, size);
}

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;
using testing::EndsWith;

/// Keeps the text of the last line in memory of its own.
class LastText : public Platform::LogSink {
public:
    LastText() { text_.reserve(std::size_t{20} * 1024); }
    void write(const Platform::LogRecord& record) noexcept override { text_ = record.text; }
    [[nodiscard]] const std::string& text() const { return text_; }

private:
    std::string text_;
};

class LogMemory : public testing::Test {
protected:
    LogMemory() { Platform::setLogSink(sink_); }

    const CapturedLog before_;
    const std::shared_ptr<LastText> sink_ = std::make_shared<LastText>();
};

TEST_F(LogMemory, ThatIsMissingLosesALineOfAFileAndNothingElse)
{
    const TempDir folder;
    const auto file = Platform::makeFileSink(folder.path("log"));
    const std::string text(5000, 'x');
    {
        const FailingAllocation failing(0);
        file->write({16, "tag", text});
    }
    EXPECT_TRUE(FailingAllocation::happened());
    EXPECT_EQ(readFile(folder.path("log")), "");
    file->write({16, "tag", text});
    EXPECT_THAT(readFile(folder.path("log")), EndsWith(" tag: " + text + "\n"));
}

TEST_F(LogMemory, ThatIsMissingForALongMessageLeavesItsBeginning)
{
    const std::string text(2000, 'x');
    {
        const FailingAllocation failing(0);
        logmsgf(16, "tag", "%s", text.c_str());
    }
    EXPECT_TRUE(FailingAllocation::happened());
    EXPECT_EQ(sink_->text(), text.substr(0, 1023) + "... (977 more bytes)");
}

TEST_F(LogMemory, ThatIsMissingForTheNumberOfBytesLeftOutLeavesTheRest)
{
    const std::string longest(std::size_t{16} * 1024, 'x');
    const std::string text = longest + "more";
    {
        const FailingAllocation failing(0);
        logmsgv(1, 0, "tag", text.c_str());
    }
    EXPECT_TRUE(FailingAllocation::happened());
    EXPECT_EQ(sink_->text(), longest);
}

TEST(LogInterrupted, WritesTheLineOnce)
{
    const TempDir folder;
    const auto file = Platform::makeFileSink(folder.path("log"));
    interruptions = 2;
    file->write({16, "tag", "text"});
    EXPECT_EQ(interruptions, 0);
    const std::string lines = readFile(folder.path("log"));
    EXPECT_THAT(lines, EndsWith(" tag: text\n"));
    EXPECT_EQ(lines.find('\n'), lines.size() - 1);
}

} // namespace
} // namespace keepsafe_test
