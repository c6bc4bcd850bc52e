#include <keepsafe/jwt/ValidatingJwtParser.h>

#include <fstream>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include "jwt/HostKeyRoot.h"
#include "jwt/expected_lines.h"
#include "support/CapturedLog.h"
#include "support/DefaultLogger.h"

namespace keepsafe_test {
namespace {

using lines::Lines;
using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::RBACJwtParser;
using Tessara::Keepsafe::ValidatingJwtParser;
using testing::ElementsAreArray;

std::string payloadWithExpiry(long long exp) { return "{\"exp\":" + std::to_string(exp) + "}"; }

class ValidatingJwtParserTest : public testing::Test {
protected:
    ~ValidatingJwtParserTest() override { EXPECT_EQ(ERR_peek_error(), 0U); }

    /// The status for a token that is refused.
    int refusal(const std::string& token)
    {
        JWT something;
        JWT* made = &something;
        const int status = parser_.parseJwt(token, made);
        EXPECT_EQ(made, nullptr);
        return status;
    }

    HostKeyRoot root_;
    CapturedLog log_;
    ValidatingJwtParser parser_;
};

TEST_F(ValidatingJwtParserTest, ASignedTokenThatLastsIsTheCallersObject)
{
    const DefaultLogger logger(1);
    RBACJwtParser& parser = parser_;
    JWT* made = nullptr;
    EXPECT_EQ(parser.parseJwt(hostSigner().sign(R"({"sub":"alice","exp":32503680000000})"), made), 0);
    const std::unique_ptr<JWT> jwt(made);
    ASSERT_NE(jwt, nullptr);
    std::string subject;
    EXPECT_EQ(jwt->getSubject(subject), 0);
    EXPECT_EQ(subject, "alice");
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::verified()));
}

TEST_F(ValidatingJwtParserTest, AParserIsDeletedThroughItsInterface)
{
    const std::unique_ptr<RBACJwtParser> parser = std::make_unique<ValidatingJwtParser>();
    JWT* made = nullptr;
    EXPECT_EQ(parser->parseJwt("a.b", made), 8002);
}

TEST_F(ValidatingJwtParserTest, AWrongSignatureIs8002)
{
    const DefaultLogger logger(1);
    EXPECT_EQ(refusal(strangerSigner().sign(payloadWithExpiry(FAR_FUTURE_MS))), 8002);
    EXPECT_THAT(
        lines::withoutLineNumbers(log_.lines()),
        ElementsAreArray(lines::wrongSignature() + Lines{lines::parserSays("verification of JWT failed")}));
}

TEST_F(ValidatingJwtParserTest, AMissingKeyFileIs8002)
{
    std::filesystem::remove(root_.keyFile());
    EXPECT_EQ(refusal(hostSigner().sign(payloadWithExpiry(FAR_FUTURE_MS))), 8002);
}

TEST_F(ValidatingJwtParserTest, ASignedPayloadThatIsNoObjectIs7610)
{
    const DefaultLogger logger(1);
    EXPECT_EQ(refusal(hostSigner().sign("[]")), 7610);
    EXPECT_THAT(
        lines::withoutLineNumbers(log_.lines()),
        ElementsAreArray(lines::verified() +
                         Lines{lines::NOT_AN_OBJECT, lines::parserSays("failed to create JWT, error=7610")}));
}

TEST_F(ValidatingJwtParserTest, ASignedTokenWithoutExpiryIs8002)
{
    const DefaultLogger logger(1);
    EXPECT_EQ(refusal(hostSigner().sign("{}")), 8002);
    EXPECT_THAT(lines::withoutLineNumbers(log_.lines()),
                ElementsAreArray(lines::verified() +
                                 Lines{lines::error("JWT::isExpired", lines::NOT_AN_INTEGER),
                                       lines::parserSays("JWT is expired check failed, error=8002")}));
}

TEST_F(ValidatingJwtParserTest, ASignedTokenThatHasExpiredIs8001)
{
    const DefaultLogger logger(1);
    EXPECT_EQ(refusal(hostSigner().sign(payloadWithExpiry(nowMs() - 1))), 8001);
    EXPECT_THAT(lines::withoutLineNumbers(log_.lines()),
                ElementsAreArray(lines::verified() + Lines{lines::parserSays("JWT is expired")}));
}

TEST_F(ValidatingJwtParserTest, TheSignatureIsLookedAtBeforeTheExpiry)
{
    EXPECT_EQ(refusal(strangerSigner().sign(payloadWithExpiry(1))), 8002);
}

TEST_F(ValidatingJwtParserTest, WithoutADefaultLoggerItSaysNothingItself)
{
    EXPECT_EQ(refusal(hostSigner().sign(payloadWithExpiry(1))), 8001);
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::verified()));
}

TEST_F(ValidatingJwtParserTest, ADefaultLoggerOfALowerLevelGetsNothing)
{
    const DefaultLogger logger(0);
    EXPECT_EQ(refusal(hostSigner().sign(payloadWithExpiry(1))), 8001);
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::verified()));
}

TEST_F(ValidatingJwtParserTest, ADefaultLoggerOfAHigherLevelGetsItsMessages)
{
    const DefaultLogger logger(9);
    EXPECT_EQ(refusal(hostSigner().sign(payloadWithExpiry(1))), 8001);
    EXPECT_THAT(lines::withoutLineNumbers(log_.lines()),
                ElementsAreArray(lines::verified() + Lines{lines::parserSays("JWT is expired")}));
}

/// The line of the source, counted from 1, that contains a text.
int lineOf(const std::string& text)
{
    std::ifstream source(KEEPSAFE_PARSER_SOURCE);
    int number = 0;
    for (std::string line; std::getline(source, line);) {
        ++number;
        if (line.find(text) != std::string::npos) {
            return number;
        }
    }
    return 0;
}

TEST_F(ValidatingJwtParserTest, ItsMessagesEndWithTheirPlaceInTheSource)
{
    const DefaultLogger logger(1);
    EXPECT_EQ(refusal("a.b"), 8002);
    const std::string place =
        "(ValidatingJwtParser.cpp:" + std::to_string(lineOf("\"verification of JWT failed\"")) + ")";
    EXPECT_EQ(log_.lines().back(),
              lines::debug("ValidatingJwtParser::parseJwt", "verification of JWT failed" + place));
}

} // namespace
} // namespace keepsafe_test
