#include "bounds.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::isWithinBounds;
using Tessara::Keepsafe::JsonBounds;
using Tessara::Keepsafe::MEBIBYTE;

std::string repeated(const std::string& piece, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

std::string nested(std::size_t levels)
{
    return repeated("[{\"a\":", levels / 2) + repeated("[", levels % 2) + "1" + repeated("]", levels % 2) +
           repeated("}]", levels / 2);
}

/// Empty when the text is within the bounds, or else what is said of it.
std::string excess(const std::string& text, const JsonBounds& bounds)
{
    json_error_t error;
    if (isWithinBounds(text, error, bounds)) {
        return "";
    }
    return std::to_string(error.line) + ':' + std::to_string(error.column) + " (" +
           std::to_string(error.position) + "): " + error.text;
}

std::string excess(const std::string& text) { return excess(text, JsonBounds::ofText(text.size())); }

TEST(JsonBounds, AreAHundredLevels)
{
    EXPECT_EQ(excess(nested(99)), "");
    EXPECT_EQ(excess(nested(100)), "");
    EXPECT_EQ(excess("\n\n " + nested(101)), "3:302 (304): more than 100 levels of arrays and objects");
    EXPECT_EQ(excess("[" + repeated("[[]],", 1000) + "[]]"), "") << "side by side they do not count";
}

TEST(JsonBounds, DoNotCountWhatIsInAString)
{
    EXPECT_EQ(excess("[\"" + repeated("[{", 200) + "\"]"), "");
    EXPECT_EQ(excess("[\"\\\"" + repeated("[", 200) + "\\\\\"]"), "");
    EXPECT_EQ(excess("[\"\\\\\"" + repeated("[", 200)).substr(0, 6), "1:105 ")
        << "the string ends before them";
}

TEST(JsonBounds, TakeWhatIsNoJsonForWhatItIs)
{
    for (const char* text : {"", "]]]]}", "\"", "\"\\", "[\"\\", "no JSON"}) {
        EXPECT_EQ(excess(text), "") << text;
    }
}

TEST(JsonBounds, LimitTheMemoryOfTheValues)
{
    const JsonBounds thousand{100, 1000};
    EXPECT_EQ(excess("[" + repeated("{},", 3) + "1]", thousand), "");
    EXPECT_EQ(excess("[" + repeated("{},", 4) + "1]", thousand),
              "1:11 (11): values need more than 1000 bytes");
    EXPECT_EQ(excess("[\"" + std::string(700, 'x') + "\"]", thousand), "");
    EXPECT_NE(excess("[\"" + std::string(800, 'x') + "\"]", thousand), "");
    EXPECT_EQ(excess("[" + repeated("1,", 16) + "1]", thousand), "");
    EXPECT_NE(excess("[" + repeated("1,", 17) + "true]", thousand), "");
}

TEST(JsonBounds, GrowWithTheText)
{
    EXPECT_EQ(JsonBounds::ofText(0).bytes, 16 * MEBIBYTE);
    EXPECT_EQ(JsonBounds::ofText(MEBIBYTE).bytes, 40 * MEBIBYTE);
    EXPECT_EQ(JsonBounds::ofText(64 * MEBIBYTE).bytes, 256 * MEBIBYTE);
}

TEST(JsonBounds, HoldTheDocumentsOfTheProduct)
{
    const std::string role = R"({"type":"accessControlRole","id":"1","attributes":{"name":"n"}},)";
    EXPECT_EQ(excess("[" + repeated(role, 100000) + "1]"), "");
    EXPECT_EQ(excess("[" + repeated(R"({"id":"|A|"},)", 500000) + "1]"), "") << "the densest";
}

} // namespace
