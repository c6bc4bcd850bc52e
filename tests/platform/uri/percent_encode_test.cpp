#include <keepsafe/platform/uri/percent_encode.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string encoded(const std::string& in)
{
    std::string out = "leftover";
    EXPECT_EQ(percentEncodeUriPart(in, out), 0);
    return out;
}

std::string decoded(const std::string& in)
{
    std::string out = "leftover";
    EXPECT_EQ(percentDecodeUriPart(in, out), 0) << in;
    return out;
}

std::string everyByte()
{
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

TEST(PercentEncode, LeavesTheUnreservedSetAndEncodesEveryOtherByte)
{
    const std::string unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    for (const char byte : everyByte()) {
        const std::string in(1, byte);
        if (unreserved.find(byte) != std::string::npos) {
            EXPECT_EQ(encoded(in), in);
        } else {
            char expected[4];
            std::snprintf(expected, sizeof expected, "%%%02X", static_cast<unsigned char>(byte));
            EXPECT_EQ(encoded(in), expected);
        }
    }
}

TEST(PercentEncode, WritesANamespaceForUseInAPath)
{
    EXPECT_EQ(encoded("|KEEPSAFE|a+b%7Cc|"), "%7CKEEPSAFE%7Ca%2Bb%257Cc%7C");
    EXPECT_EQ(encoded("caf\xC3\xA9 *"), "caf%C3%A9%20%2A");
}

TEST(PercentEncode, OfNothingIsNothing) { EXPECT_EQ(encoded(""), ""); }

TEST(PercentEncode, TakesTheSameStringForInputAndOutput)
{
    std::string text = "a b/c";
    EXPECT_EQ(percentEncodeUriPart(text, text), 0);
    EXPECT_EQ(text, "a%20b%2Fc");
}

TEST(PercentDecode, ReadsHexDigitsOfEitherCase)
{
    EXPECT_EQ(decoded("%7C%7c%aF%Af%00x"), std::string("||\xAF\xAF\0x", 6));
}

TEST(PercentDecode, ReadsAPlusAsASpaceAndAnEncodedPlusAsAPlus)
{
    EXPECT_EQ(decoded("a+b%2Bc%20d"), "a b+c d");
}

TEST(PercentDecode, CopiesEveryByteButPercentAndPlus)
{
    for (const char byte : everyByte()) {
        if (byte != '%' && byte != '+') {
            EXPECT_EQ(decoded(std::string(1, byte)), std::string(1, byte));
        }
    }
}

TEST(PercentDecode, OfNothingIsNothing) { EXPECT_EQ(decoded(""), ""); }

TEST(PercentDecode, DecodesOnlyOnce) { EXPECT_EQ(decoded("%2541"), "%41"); }

TEST(PercentDecode, AcceptsExactlyTheHexDigitsAtBothPlaces)
{
    const std::string digits = "0123456789ABCDEFabcdef";
    for (const char byte : everyByte()) {
        const int expected = digits.find(byte) != std::string::npos ? 0 : 20;
        std::string out;
        EXPECT_EQ(percentDecodeUriPart(std::string("%") + byte + "0", out), expected);
        EXPECT_EQ(percentDecodeUriPart(std::string("%0") + byte, out), expected);
    }
}

TEST(PercentDecode, RefusesAnIncompleteEscapeAndLeavesTheOutputAlone)
{
    for (const std::string in :
         {"%", "%4", "abc%", "abc%4", "%%41", "%4%41", "%41%", "%41%4", "+%", "a%GGb"}) {
        std::string out = "as it was";
        EXPECT_EQ(percentDecodeUriPart(in, out), 20) << in;
        EXPECT_EQ(out, "as it was") << in;
    }
}

TEST(PercentDecode, TakesTheSameStringForInputAndOutput)
{
    std::string good = "%41+%2B";
    EXPECT_EQ(percentDecodeUriPart(good, good), 0);
    EXPECT_EQ(good, "A +");

    std::string bad = "%41%";
    EXPECT_EQ(percentDecodeUriPart(bad, bad), 20);
    EXPECT_EQ(bad, "%41%");
}

TEST(PercentDecode, InvertsEncodingForEveryByteAndForRandomTexts)
{
    EXPECT_EQ(decoded(encoded(everyByte())), everyByte());

    std::mt19937 random(20240229);
    for (int round = 0; round < 2000; ++round) {
        std::string text(random() % 64, '\0');
        for (char& byte : text) {
            byte = static_cast<char>(static_cast<std::uint8_t>(random()));
        }
        EXPECT_EQ(decoded(encoded(text)), text);
    }
}

} // namespace
