#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/log/logmsg.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

Platform::Config logConfig(int threshold, const std::string& destination)
{
    Platform::Config config;
    config.logThreshold = threshold;
    config.logDestination = destination;
    return config;
}

TEST(ApplyLogConfig, DirectsMessagesToTheFileFromTheThresholdOn)
{
    const TempDir folder;
    const CapturedLog before;
    Platform::applyLogConfig(logConfig(4, "file:" + folder.path("log")), "program");
    logmsgf(4, "tag", "written");
    logmsgf(3, "tag", "dropped");
    const std::string content = readFile(folder.path("log"));
    EXPECT_NE(content.find("tag: written\n"), std::string::npos) << content;
    EXPECT_EQ(content.find("dropped"), std::string::npos) << content;
    EXPECT_TRUE(before.lines().empty());
}

TEST(ApplyLogConfig, TakesMessagesAwayFromTheSinkBefore)
{
    for (const char* const destination : {"stderr", "syslog"}) {
        const CapturedLog before;
        Platform::applyLogConfig(logConfig(16, destination), "program");
        EXPECT_EQ(Platform::logThreshold(), 16);
        logmsgf(16, "tag", "elsewhere");
        EXPECT_TRUE(before.lines().empty()) << destination;
    }
}

TEST(ApplyLogConfig, ChangesNothingWhenTheFileCannotBeOpened)
{
    const TempDir folder;
    const CapturedLog before(2);
    EXPECT_THROW(Platform::applyLogConfig(logConfig(16, "file:" + folder.path()), "program"),
                 std::runtime_error);
    EXPECT_EQ(Platform::logThreshold(), 2);
    logmsgf(2, "tag", "text");
    EXPECT_EQ(before.lines().size(), 1U);
}

} // namespace
} // namespace keepsafe_test
