#include <string>

#include <gtest/gtest.h>

#include "output/Json.h"
#include "output/TextTable.h"
#include "output/escape.h"

namespace {

using ksrbac::escapeForMessage;
using ksrbac::isPrintable;
using ksrbac::JsonArray;
using ksrbac::JsonObject;
using ksrbac::jsonString;
using ksrbac::printable;
using ksrbac::TextTable;

TEST(EscapeForMessage, KeepsPrintableUtf8Only)
{
    EXPECT_EQ(escapeForMessage("|A b~|"), "|A b~|");
    EXPECT_EQ(escapeForMessage("Pr\xC3\xBC"
                               "fer \xE6\x9D\xB1\xF0\x9F\x98\x80"),
              "Pr\xC3\xBC"
              "fer \xE6\x9D\xB1\xF0\x9F\x98\x80");
    EXPECT_EQ(escapeForMessage("a\tb\r\n"), R"(a\x09b\x0D\x0A)");
    EXPECT_EQ(escapeForMessage("\x1B[31m\x7F"), R"(\x1B[31m\x7F)");
    EXPECT_EQ(escapeForMessage("\xC2\x9B"
                               "2J"),
              R"(\xC2\x9B2J)")
        << "what a terminal obeys";
    EXPECT_EQ(escapeForMessage("\xE2\x80\xAE"
                               "fdp"),
              R"(\xE2\x80\xAEfdp)")
        << "what disguises a text";
    EXPECT_EQ(escapeForMessage("\xE2\x80\xA8"), R"(\xE2\x80\xA8)") << "what starts a line";
    EXPECT_EQ(escapeForMessage("\xC3"), R"(\xC3)") << "not UTF-8";
    EXPECT_EQ(escapeForMessage(std::string(1, '\0')), R"(\x00)");
    EXPECT_EQ(escapeForMessage(R"(\x41)"), R"(\\x41)");
}

TEST(EscapeForMessage, CutsWhatIsTooLong)
{
    EXPECT_EQ(escapeForMessage("abcdef", 6), "abcdef");
    EXPECT_EQ(escapeForMessage("abcdefg", 6), "abcdef...");
    EXPECT_EQ(escapeForMessage("ab\xF0\x9F\x98\x80g", 5), "ab...") << "no part of a character";
    EXPECT_EQ(escapeForMessage("ab\xF0\x9F\x98\x80g", 6), "ab\xF0\x9F\x98\x80...");
}

TEST(Printable, ChangesNothingTwice)
{
    const std::string text = "a\\b\n\xC3\xA9\xFF";
    const std::string once = R"(a\b\x0A)"
                             "\xC3\xA9"
                             R"(\xFF)";
    EXPECT_FALSE(isPrintable(text));
    EXPECT_EQ(printable(text), once);
    EXPECT_TRUE(isPrintable(once));
    EXPECT_EQ(printable(once), once);
}

TEST(JsonString, EscapesWhatJsonDoesNotAllow)
{
    EXPECT_EQ(jsonString("a\"b\\c/"), R"("a\"b\\c/")");
    EXPECT_EQ(jsonString(std::string("\n\x01\0", 3)), R"("\u000a\u0001\u0000")");
    EXPECT_EQ(jsonString("\x7F\xC2\x9B"), R"("\u007f\u009b")") << "what a terminal obeys";
    EXPECT_EQ(jsonString("\xE2\x80\xAE\xF3\xA0\x80\x81"), R"("\u202e\udb40\udc01")")
        << "what disguises a text";
}

TEST(JsonString, KeepsUtf8AndReplacesOtherBytes)
{
    EXPECT_EQ(jsonString("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"");
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(jsonString("a\xFF"), "\"a" + replacement + "\"") << "no lead byte";
    EXPECT_EQ(jsonString("\xC3"), "\"" + replacement + "\"") << "cut short";
    EXPECT_EQ(jsonString("\xC0\xAF"), "\"" + replacement + replacement + "\"") << "overlong";
    EXPECT_EQ(jsonString("\xED\xA0\x80"), "\"" + replacement + replacement + replacement + "\"")
        << "surrogate";
    EXPECT_EQ(jsonString("\xF4\x90\x80\x80"),
              "\"" + replacement + replacement + replacement + replacement + "\"")
        << "past the last code point";
}

TEST(JsonObject, KeepsTheOrderOfItsMembers)
{
    JsonObject inner;
    inner.add("n", std::uint64_t{18446744073709551615U});
    const std::string list = JsonArray().addJson("1").addJson("2").text();
    EXPECT_EQ(
        JsonObject()
            .add("z", "text")
            .add("a", true)
            .add("m", std::int64_t{-3})
            .add("share", 0.25)
            .add("inner", inner)
            .addJson("list", list)
            .text(),
        R"({"z":"text","a":true,"m":-3,"share":0.2500,"inner":{"n":18446744073709551615},"list":[1,2]})");
    EXPECT_EQ(JsonObject().text(), "{}");
    EXPECT_EQ(JsonArray().text(), "[]");
}

TEST(TextTable, LinesUpItsColumns)
{
    TextTable table({TextTable::Align::Right, TextTable::Align::Left, TextTable::Align::Right});
    table.addRow({"BIT", "NAME", "N"});
    table.addRow({"7", "a", "100"});
    table.addRow({"1000", "long name"});
    EXPECT_EQ(table.text(), " BIT  NAME         N\n"
                            "   7  a          100\n"
                            "1000  long name\n");
}

TEST(TextTable, CountsColumnsOfTheTerminal)
{
    TextTable table({TextTable::Align::Left, TextTable::Align::Left});
    table.addRow({"Pr\xC3\xBC"
                  "fer",
                  "1"});
    table.addRow({"\xE6\x9D\xB1\xE4\xBA\xAC", "2"});
    table.addRow({"e\xCC\x81", "3"});
    table.addRow({"abcdefg", "4"});
    EXPECT_EQ(table.text(), "Pr\xC3\xBC"
                            "fer   1\n"
                            "\xE6\x9D\xB1\xE4\xBA\xAC     2\n"
                            "e\xCC\x81        3\n"
                            "abcdefg  4\n");
}

TEST(TextTable, NoCellStartsALineOrSteersTheTerminal)
{
    TextTable table({TextTable::Align::Left});
    table.addRow({"a\n\x1B[2J"});
    EXPECT_EQ(table.text(), "a\\x0A\\x1B[2J\n");
}

TEST(TextTable, KeepsCellsPastItsLastColumn)
{
    TextTable table({TextTable::Align::Right});
    table.addRow({"1", "x", "y"});
    EXPECT_EQ(table.text(), "1  x  y\n");
}

TEST(TextTable, WithoutRowsIsEmpty) { EXPECT_EQ(TextTable({TextTable::Align::Left}).text(), ""); }

} // namespace
