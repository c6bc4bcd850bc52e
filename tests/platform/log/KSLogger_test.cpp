#include <keepsafe/platform/log/KSLogger.h>

#include <cerrno>
#include <vector>

#include <gtest/gtest.h>

#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Lines = std::vector<LogLine>;

TEST(KSLogger, HasNoDefaultUntilAProcessSetsOne) { EXPECT_EQ(KSLogger::s_default.load(), nullptr); }

TEST(KSLogger, WritesMessagesUpToItsLevel)
{
    const CapturedLog log;
    KSLogger logger(2);
    logger.logDebug("tag", 0, "zero");
    logger.logDebug("tag", 1, "one");
    logger.logDebug("tag", 2, "two");
    logger.logDebug("tag", 3, "three");
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", "zero"}, {4, "tag", "one"}, {2, "tag", "two"}}));
}

TEST(KSLogger, TakesANewLevelFromThenOn)
{
    const CapturedLog log;
    KSLogger logger(0);
    logger.logDebug("tag", 1, "before");
    logger.setLevel(1);
    logger.logDebug("tag", 1, "after");
    EXPECT_EQ(logger.level(), 1);
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", "after"}}));
}

TEST(KSLogger, WritesByItsOwnLevelWhateverTheThreshold)
{
    const CapturedLog log(16);
    KSLogger logger(3);
    logger.logDebug("tag", 1, "one");
    logger.logDebug("tag", 3, "three");
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", "one"}, {2, "tag", "three"}}));
}

TEST(KSLogger, TakesTheTextAsItIs)
{
    const CapturedLog log;
    KSLogger logger(1);
    errno = ENOTTY;
    logger.logDebug(nullptr, 1, std::string("100%s\n\0.", 8));
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(log.lines(), (Lines{{4, "", std::string("100%s\n\0.", 8)}}));
}

TEST(KSLogger, ServesAsTheDefaultWhileItIsSet)
{
    const CapturedLog log;
    KSLogger logger(1);
    KSLogger::s_default = &logger;
    if (KSLogger* const current = KSLogger::s_default; current != nullptr && current->level() >= 1) {
        current->logDebug("tag", 1, "through the default");
    }
    KSLogger::s_default = nullptr;
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", "through the default"}}));
}

} // namespace
} // namespace keepsafe_test
