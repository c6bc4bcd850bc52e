#include <keepsafe/platform/log/logmsg.h>

#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/log/log_sink.h>

#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Lines = std::vector<LogLine>;
namespace Platform = Tessara::Keepsafe::Platform;

TEST(Logmsgf, FormatsAsPrintfDoes)
{
    const CapturedLog log;
    logmsgf(4, "RoleAPI::get_role", "role %d of \"%s\": %5.1f%%", 17, "ops", 99.5);
    EXPECT_EQ(log.lines(), (Lines{{4, "RoleAPI::get_role", "role 17 of \"ops\":  99.5%"}}));
}

TEST(Logmsgf, WritesFromTheThresholdOnAndNothingBelowIt)
{
    const CapturedLog log(8);
    for (const int level : {-1, 0, 2, 7, 8, 9, 16, 17}) {
        logmsgf(level, "tag", "level %d", level);
    }
    EXPECT_EQ(
        log.lines(),
        (Lines{
            {8, "tag", "level 8"}, {9, "tag", "level 9"}, {16, "tag", "level 16"}, {17, "tag", "level 17"}}));
}

TEST(Logmsgf, DoesNotLookAtTheArgumentsOfAMessageBelowTheThreshold)
{
    const CapturedLog log(16);
    const char* const notReadable = reinterpret_cast<const char*>(16); // NOLINT(performance-no-int-to-ptr)
    logmsgf(15, notReadable, "%s", notReadable);
    logmsgvf(1, 0, notReadable, "%s", notReadable);
    logmsgv(1, 0, notReadable, notReadable);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(Logmsgf, WritesMessagesOfUpTo16KiBWhole)
{
    for (const std::size_t length : {0U, 1U, 511U, 512U, 1022U, 1023U, 1024U, 1025U, 4096U, 8192U}) {
        const CapturedLog log;
        const std::string text(length, 'x');
        logmsgf(16, "tag", "%s%s", text.c_str(), text.c_str());
        EXPECT_EQ(log.lines(), (Lines{{16, "tag", text + text}})) << length;
    }
}

TEST(Logmsgf, SaysHowMuchOfALongerMessageIsLeftOut)
{
    const CapturedLog log;
    const std::string longest(16'384, 'x');
    logmsgf(16, "tag", "%sy", longest.c_str());
    const std::string huge(60'000'000, 'x'); // NOLINT(bugprone-string-constructor)
    logmsgf(16, "tag", "%s", huge.c_str());
    logmsgv(1, 0, "tag", (longest + "abc").c_str());
    EXPECT_EQ(log.lines(), (Lines{{16, "tag", longest + "... (1 more bytes)"},
                                  {16, "tag", longest + "... (59983616 more bytes)"},
                                  {4, "tag", longest + "... (3 more bytes)"}}));
}

TEST(Logmsgf, CutsALongMessageBetweenTwoCharacters)
{
    const CapturedLog log;
    const std::string beginning(16 * 1024 - 1, 'x');
    logmsgv(1, 0, "tag", (beginning + "\xE2\x82\xAC.").c_str());
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", beginning + "... (4 more bytes)"}}));
}

TEST(Logmsgf, CutsALongMessageOfHalvesOfCharactersNearTheLongestText)
{
    const CapturedLog log;
    logmsgv(1, 0, "tag", std::string(16 * 1024 + 10, '\x80').c_str());
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", std::string(16 * 1024 - 3, '\x80') + "... (13 more bytes)"}}));
}

TEST(Logmsgf, KeepsErrno)
{
    class ErrnoBreaker : public Platform::LogSink {
        void write(const Platform::LogRecord& /*record*/) noexcept override { errno = EBADF; }
    };
    const CapturedLog restoresTheSink;
    Platform::setLogSink(std::make_shared<ErrnoBreaker>());
    errno = ENOTTY;
    logmsgf(16, "tag", "short");
    logmsgf(16, "tag", "%2000d", 1);
    logmsgv(1, 0, "tag", "text");
    EXPECT_EQ(errno, ENOTTY);
}

TEST(Logmsgf, WritesTheFormatWhenTheArgumentsCannotBeFormatted)
{
    const CapturedLog log;
    const wchar_t notInTheCLocale[] = {0x20AC, 0};
    logmsgf(16, "tag", "price in %ls", notInTheCLocale);
    EXPECT_EQ(log.lines(), (Lines{{16, "tag", "price in %ls"}}));
}

TEST(Logmsgf, TakesNullPointersForEmptyStrings)
{
    const CapturedLog log;
    const char* const noFormat = nullptr;
    logmsgf(16, nullptr, "text");
    logmsgf(16, "tag", noFormat);
    logmsgv(1, 0, nullptr, nullptr);
    EXPECT_EQ(log.lines(), (Lines{{16, "", "text"}, {16, "tag", ""}, {4, "", ""}}));
}

TEST(Logmsgv, CountsVerbosityUpToTwoAsInformationAndAboveAsDebug)
{
    const CapturedLog log;
    for (const int verbosity : {-1, 0, 1, 2, 3, 6}) {
        logmsgv(verbosity, 100, "tag", "100%s");
        logmsgvf(verbosity, 100, "tag", "%d", verbosity);
    }
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", "100%s"},
                                  {4, "tag", "-1"},
                                  {4, "tag", "100%s"},
                                  {4, "tag", "0"},
                                  {4, "tag", "100%s"},
                                  {4, "tag", "1"},
                                  {4, "tag", "100%s"},
                                  {4, "tag", "2"},
                                  {2, "tag", "100%s"},
                                  {2, "tag", "3"},
                                  {2, "tag", "100%s"},
                                  {2, "tag", "6"}}));
}

TEST(Logmsgv, WritesFromTheThresholdOnAndNothingBelowIt)
{
    const CapturedLog log(4);
    logmsgv(3, 0, "tag", "debug");
    logmsgvf(3, 0, "tag", "%s", "debug");
    logmsgv(2, 0, "tag", "information");
    logmsgvf(2, 0, "tag", "%s", "information");
    EXPECT_EQ(log.lines(), (Lines{{4, "tag", "information"}, {4, "tag", "information"}}));
}

} // namespace
} // namespace keepsafe_test
