#include "line.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

namespace Platform = Tessara::Keepsafe::Platform;
using std::chrono::milliseconds;
using std::chrono::system_clock;

std::string escaped(std::string_view text)
{
    spdlog::memory_buf_t out;
    Platform::detail::appendEscaped(text, out);
    return {out.data(), out.size()};
}

std::string lineAt(std::int64_t millisecondsSinceEpoch, const Platform::LogRecord& record)
{
    spdlog::memory_buf_t out;
    Platform::detail::appendLine(record, system_clock::time_point(milliseconds(millisecondsSinceEpoch)), out);
    return {out.data(), out.size()};
}

std::string timeAt(std::int64_t millisecondsSinceEpoch)
{
    const std::string line = lineAt(millisecondsSinceEpoch, {16, "", ""});
    return line.substr(0, line.find(' '));
}

std::string levelShown(int level)
{
    const std::string line = lineAt(0, {level, "", ""});
    const std::size_t begin = line.find(' ') + 1;
    return line.substr(begin, line.find(' ', begin) - begin);
}

TEST(LogLine, HoldsTimeLevelProcessThreadTagAndText)
{
    const std::string process = std::to_string(::getpid());
    EXPECT_EQ(lineAt(1709251198007, {16, "Tag::of", "text"}),
              "2024-02-29T23:59:58.007Z error(16) " + process + "/" + process + " Tag::of: text\n");
}

TEST(LogLine, EscapesTagAndText)
{
    const std::string line = lineAt(0, {16, "a\nb", "c\nd"});
    EXPECT_NE(line.find(" a\\x0Ab: c\\x0Ad\n"), std::string::npos) << line;
}

TEST(LogLine, NamesLevelsByTheNearestNamedOneBelow)
{
    EXPECT_EQ(levelShown(-5), "debug(-5)");
    EXPECT_EQ(levelShown(0), "debug(0)");
    EXPECT_EQ(levelShown(2), "debug(2)");
    EXPECT_EQ(levelShown(3), "debug(3)");
    EXPECT_EQ(levelShown(4), "information(4)");
    EXPECT_EQ(levelShown(7), "information(7)");
    EXPECT_EQ(levelShown(8), "notable(8)");
    EXPECT_EQ(levelShown(15), "notable(15)");
    EXPECT_EQ(levelShown(16), "error(16)");
    EXPECT_EQ(levelShown(100), "error(100)");
}

TEST(LogLineTime, KnowsTheEdgesOfTheCalendar)
{
    EXPECT_EQ(timeAt(0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(timeAt(-1), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(timeAt(951782399999), "2000-02-28T23:59:59.999Z");
    EXPECT_EQ(timeAt(951782400000), "2000-02-29T00:00:00.000Z");
    EXPECT_EQ(timeAt(4107542400000), "2100-03-01T00:00:00.000Z");
    EXPECT_EQ(timeAt(9214646399999), "2261-12-31T23:59:59.999Z");
}

TEST(LogLineTime, AgreesWithTheCLibrary)
{
    std::mt19937_64 random(20240229);
    std::uniform_int_distribution<std::int64_t> seconds(-9183024000, 9214646399); // years 1679 to 2261
    for (int round = 0; round < 20000; ++round) {
        const std::time_t second = seconds(random);
        std::tm broken{};
        ASSERT_NE(::gmtime_r(&second, &broken), nullptr);
        char expected[64];
        std::snprintf(expected, sizeof expected, "%04d-%02d-%02dT%02d:%02d:%02d.042Z", broken.tm_year + 1900,
                      broken.tm_mon + 1, broken.tm_mday, broken.tm_hour, broken.tm_min, broken.tm_sec);
        ASSERT_EQ(timeAt(second * 1000 + 42), expected);
    }
}

TEST(LogLineEscape, LeavesPrintableTextAlone)
{
    EXPECT_EQ(escaped(""), "");
    EXPECT_EQ(escaped("plain ~ text\\n \"100%\""), "plain ~ text\\n \"100%\"");
    EXPECT_EQ(escaped("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x92"),
              "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x92");
}

TEST(LogLineEscape, WritesEveryAsciiControlCharacterInHex)
{
    for (int byte = 0; byte < 0x80; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned>(byte));
        EXPECT_EQ(escaped(text), byte < 0x20 || byte == 0x7F ? hex : text) << byte;
    }
}

TEST(LogLineEscape, WritesOtherLineBreaksAndTerminalControlsInHex)
{
    EXPECT_EQ(escaped("\xC2\x85"), "\\xC2\\x85") << "next line";
    EXPECT_EQ(escaped("\xC2\x9B"), "\\xC2\\x9B") << "control sequence introducer";
    EXPECT_EQ(escaped("\xC2\xA0"), "\xC2\xA0") << "the first character after the controls";
    EXPECT_EQ(escaped("\xE2\x80\xA8"), "\\xE2\\x80\\xA8") << "line separator";
    EXPECT_EQ(escaped("\xE2\x80\xA9"), "\\xE2\\x80\\xA9") << "paragraph separator";
    EXPECT_EQ(escaped("\xE2\x80\xA7\xE2\x80\xAF"), "\xE2\x80\xA7\xE2\x80\xAF") << "the neighbours of these";
}

TEST(LogLineEscape, WritesFormatCharactersInHex)
{
    EXPECT_EQ(escaped("a\xE2\x80\xAE"
                      "b"),
              "a\\xE2\\x80\\xAEb")
        << "right-to-left override";
    EXPECT_EQ(escaped("\xE2\x81\xA6"), "\\xE2\\x81\\xA6") << "left-to-right isolate";
    EXPECT_EQ(escaped("\xE2\x80\x8B"), "\\xE2\\x80\\x8B") << "zero width space";
    EXPECT_EQ(escaped("\xC2\xAD"), "\\xC2\\xAD") << "soft hyphen";
    EXPECT_EQ(escaped("\xEF\xBB\xBF"), "\\xEF\\xBB\\xBF") << "byte order mark";
    EXPECT_EQ(escaped("\xF3\xA0\x81\x81"), "\\xF3\\xA0\\x81\\x81") << "a tag";
}

TEST(LogLineEscape, WritesBytesThatAreNotUtf8InHex)
{
    EXPECT_EQ(escaped("\x85.\xFF."), "\\x85.\\xFF.") << "no first bytes";
    EXPECT_EQ(escaped("\xC3"), "\\xC3") << "cut off";
    EXPECT_EQ(escaped("\xE2\x82"), "\\xE2\\x82") << "cut off";
    EXPECT_EQ(escaped("\xF0\x9F\x94"), "\\xF0\\x9F\\x94") << "cut off";
    EXPECT_EQ(escaped("\xC3\n"), "\\xC3\\x0A") << "interrupted";
    EXPECT_EQ(escaped("\xE2\x82z"), "\\xE2\\x82z") << "interrupted";
    EXPECT_EQ(escaped("\xC0\x8A"), "\\xC0\\x8A") << "overlong line feed";
    EXPECT_EQ(escaped("\xE0\x80\x8A"), "\\xE0\\x80\\x8A") << "overlong line feed";
    EXPECT_EQ(escaped("\xF0\x80\x80\x8A"), "\\xF0\\x80\\x80\\x8A") << "overlong line feed";
    EXPECT_EQ(escaped("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "the first surrogate";
    EXPECT_EQ(escaped("\xED\xBF\xBF"), "\\xED\\xBF\\xBF") << "the last surrogate";
    EXPECT_EQ(escaped("\xED\x9F\xBF\xEE\x80\x80"), "\xED\x9F\xBF\xEE\x80\x80") << "their neighbours";
    EXPECT_EQ(escaped("\xF4\x8F\xBF\xBF"), "\xF4\x8F\xBF\xBF") << "the last code point";
    EXPECT_EQ(escaped("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond Unicode";
}

} // namespace
