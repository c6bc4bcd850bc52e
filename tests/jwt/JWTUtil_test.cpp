#include <keepsafe/jwt/JWTUtil.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jwt/expected_lines.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JWTUtil;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(TokenizeJWT, GivesTheTextsBetweenTheDots)
{
    const CapturedLog log;
    std::vector<std::string> parts;
    EXPECT_EQ(JWTUtil::tokenizeJWT("head.pay load.signature", parts), 0);
    EXPECT_THAT(parts, ElementsAre("head", "pay load", "signature"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TokenizeJWT, TakesZeroBytesAsText)
{
    std::vector<std::string> parts;
    EXPECT_EQ(JWTUtil::tokenizeJWT(std::string("\0.b\0b.\0", 7), parts), 0);
    EXPECT_THAT(parts, ElementsAre(std::string(1, '\0'), std::string("b\0b", 3), std::string(1, '\0')));
}

TEST(TokenizeJWT, WantsExactlyTwoDots)
{
    for (const std::string token : {"", "a", "a.b", ".", "a.b.c.d", "...", "a.b.c.", ".a.b.c"}) {
        const CapturedLog log;
        std::vector<std::string> parts;
        EXPECT_EQ(JWTUtil::tokenizeJWT(token, parts), 8002) << token;
        EXPECT_THAT(parts, IsEmpty()) << token;
        EXPECT_THAT(log.lines(), ElementsAre(lines::WRONG_DOTS)) << token;
    }
}

TEST(TokenizeJWT, WantsNoPartEmptyAndSaysNothing)
{
    for (const std::string token : {"..", "a..", ".b.", "..c", "a.b.", "a..c", ".b.c"}) {
        const CapturedLog log;
        std::vector<std::string> parts;
        EXPECT_EQ(JWTUtil::tokenizeJWT(token, parts), 8002) << token;
        EXPECT_THAT(log.lines(), IsEmpty()) << token;
    }
}

TEST(TokenizeJWT, AppendsToPartsThatAreThereAndLooksAtTheFirstThree)
{
    std::vector<std::string> parts{"first"};
    EXPECT_EQ(JWTUtil::tokenizeJWT("a.b.", parts), 0);
    EXPECT_THAT(parts, ElementsAre("first", "a", "b", ""));
    std::vector<std::string> startingEmpty{""};
    EXPECT_EQ(JWTUtil::tokenizeJWT("a.b.c", startingEmpty), 8002);
}

} // namespace
} // namespace keepsafe_test
