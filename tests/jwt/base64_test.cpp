#include <keepsafe/jwt/JWTSSLApi.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include "jwt/expected_lines.h"
#include "jwt/keys.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JWTSSLApi;
using testing::ElementsAre;
using testing::IsEmpty;

using Decoder = int (*)(const std::string&, unsigned char*&, int&);

/// What a decoder makes of a text, its status being 0; the bytes behind the decoded ones are looked at, too.
std::string decoded(Decoder decode, const std::string& text)
{
    unsigned char* out = nullptr;
    int length = -7;
    EXPECT_EQ(decode(text, out, length), 0) << text;
    const std::unique_ptr<const unsigned char[]> owner(out);
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    EXPECT_LE(size, text.size());
    EXPECT_TRUE(std::all_of(out + size, out + text.size(), [](unsigned char c) { return c == 0; }))
        << "zeros up to the length of the text " << text;
    return {reinterpret_cast<const char*>(out), size};
}

int lengthOf(Decoder decode, const std::string& text)
{
    unsigned char* out = nullptr;
    int length = -7;
    EXPECT_EQ(decode(text, out, length), 0) << text;
    delete[] out;
    return length;
}

std::string encoded(const std::string& bytes)
{
    std::string text = "as it was";
    EXPECT_EQ(JWTSSLApi::B64Encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                   static_cast<int>(bytes.size()), text),
              0);
    return text;
}

const std::pair<const char*, const char*> EXAMPLES[] = {
    {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},     {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}, {"~~??", "fn4/Pw=="}};

std::string allBytes()
{
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    return bytes;
}

class Base64Test : public testing::Test {
protected:
    ~Base64Test() override { EXPECT_EQ(ERR_peek_error(), 0U); }

    CapturedLog log_;
};

TEST_F(Base64Test, EncodesTheExamplesOfItsStandard)
{
    for (const auto& [bytes, text] : EXAMPLES) {
        EXPECT_EQ(encoded(bytes), text);
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Base64Test, DecodesTheExamplesOfItsStandard)
{
    for (const auto& [bytes, text] : EXAMPLES) {
        EXPECT_EQ(decoded(JWTSSLApi::B64Decode, text), bytes);
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Base64Test, EncodesLongDataWithoutLineBreaksAndBackAgain)
{
    for (const std::size_t size : {47U, 48U, 49U, 767U, 768U, 769U, 100000U}) {
        std::string bytes;
        while (bytes.size() < size) {
            bytes += allBytes();
        }
        bytes.resize(size);
        const std::string text = encoded(bytes);
        EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
        EXPECT_EQ(text.find('\n'), std::string::npos);
        EXPECT_EQ(decoded(JWTSSLApi::B64Decode, text), bytes);
        EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, base64Url(bytes)), bytes);
    }
}

TEST_F(Base64Test, NothingCannotBeEncoded)
{
    std::string text = "as it was";
    const unsigned char byte = 'x';
    EXPECT_EQ(JWTSSLApi::B64Encode(&byte, 0, text), 10);
    EXPECT_EQ(JWTSSLApi::B64Encode(&byte, -1, text), 10);
    EXPECT_EQ(text, "as it was");
    const auto message = lines::error("JWTSSL::B64Encode", "Could not write data to be encoded");
    EXPECT_THAT(log_.lines(), ElementsAre(message, message));
}

TEST_F(Base64Test, TextThatIsNotBase64DecodesToNothingWithStatus0)
{
    for (const std::string text : {"", "!!!!", "Zm9", "=", "Z\nm9", "Z m9", "\xFF\xFF\xFF\xFF"}) {
        EXPECT_LE(lengthOf(JWTSSLApi::B64Decode, text), 0) << text;
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Base64Test, AnIncompleteGroupAtTheEndIsDropped)
{
    EXPECT_EQ(decoded(JWTSSLApi::B64Decode, "Zm9vY"), "foo");
    EXPECT_EQ(decoded(JWTSSLApi::B64Decode, "Zm9v!!!"), "foo");
}

TEST_F(Base64Test, DecodingStopsAtAZeroByte)
{
    EXPECT_EQ(decoded(JWTSSLApi::B64Decode, std::string("Zm9v\0YmFy", 9)), "foo");
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, std::string("Zm9v\0YmFyYmFy", 12)), "foo");
}

TEST_F(Base64Test, UrlTextIsPaddedByItsLength)
{
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, "Zm9vYg"), "foob");
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, "Zm9vYmE"), "fooba");
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, "Zm9vYmFy"), "foobar");
}

TEST_F(Base64Test, UrlTextMayCarryItsPadding)
{
    for (const auto& [bytes, text] : EXAMPLES) {
        EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, text), bytes);
    }
}

TEST_F(Base64Test, UrlTextHasDashAndUnderscoreForPlusAndSlash)
{
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, "--__"), "\xFB\xEF\xFF");
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, "++//"), "\xFB\xEF\xFF");
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, base64Url(allBytes())), allBytes());
}

TEST_F(Base64Test, UrlTextHasItsOwnCharactersAtAnyPlace)
{
    for (std::size_t length = 4; length <= 72; length += 4) {
        for (std::size_t at = 0; at < length; ++at) {
            std::string plain(length, 'x');
            std::string url = plain;
            plain[at] = at % 2 == 0 ? '+' : '/';
            url[at] = at % 2 == 0 ? '-' : '_';
            EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, url), decoded(JWTSSLApi::B64Decode, plain))
                << at << " of " << length;
        }
    }
}

TEST_F(Base64Test, UrlTextOfAnImpossibleLengthIs20)
{
    for (const std::string text : {"Z", "Zm9vY", "Zm9vYmFyZ", "Zm9v="}) {
        unsigned char something = 0;
        unsigned char* out = &something;
        int length = -7;
        EXPECT_EQ(JWTSSLApi::B64DecodeURL(text, out, length), 20) << text;
        EXPECT_EQ(length, -7) << text;
        EXPECT_THAT(log_.lines(), ElementsAre(lines::WRONG_LENGTH)) << text;
        log_.clear();
    }
}

TEST_F(Base64Test, AnEmptyUrlTextDecodesToNothing)
{
    EXPECT_EQ(decoded(JWTSSLApi::B64DecodeURL, ""), "");
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Base64Test, ErrorsThatACallerLeftInTheQueueSurviveAFailure)
{
    ERR_raise(ERR_LIB_USER, 42);
    EXPECT_LE(lengthOf(JWTSSLApi::B64Decode, "!!!!"), 0);
    std::string text;
    EXPECT_EQ(JWTSSLApi::B64Encode(nullptr, 0, text), 10);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
}

} // namespace
} // namespace keepsafe_test
