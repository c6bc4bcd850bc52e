/// Verbosity, category and level of the token code's messages, which a log shows only in part. The logging
/// functions here stand in for the library's.

#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/jwt/ValidatingJwtParser.h>
#include <keepsafe/platform/log/logmsg.h>

#include "jwt/HostKeyRoot.h"
#include "support/CapturedLog.h"
#include "support/DefaultLogger.h"
#include "support/messages.h"

namespace {

using Debug = std::tuple<int, int, std::string, std::string>;
std::vector<Debug> debugMessages;

} // namespace

void logmsgv(int verbosity, int category, const char* tag, const char* text) noexcept
{
    debugMessages.emplace_back(verbosity, category, tag, text);
}

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::ValidatingJwtParser;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char PARSER_TAG[] = "ValidatingJwtParser::parseJwt";

int parse(const std::string& token)
{
    JWT* jwt = nullptr;
    const int status = ValidatingJwtParser().parseJwt(token, jwt);
    delete jwt;
    return status;
}

TEST(DebugMessages, OfAVerificationHaveVerbosity2AndCategory3)
{
    const HostKeyRoot root;
    writeFile(root.keyFile(), hostSigner().publicKeyPem());
    debugMessages.clear();
    EXPECT_EQ(parse(hostSigner().sign(R"({"exp":99999999999999})")), 0);
    EXPECT_THAT(
        debugMessages,
        ElementsAre(
            Debug(2, 3, "JWTSSLApi::loadJwtPublicKey", "successfully opened jwt public key file"),
            Debug(2, 3, "JWTSSLApi::loadJwtPublicKey", "successfully read jwt public key file"),
            Debug(2, 3, "CSSLApi::getEVPPublicKey", "Create evp obj to hold our rsakey"),
            Debug(2, 3, "JWTSSLApi::verifyJWTSignature", "Extracted public key now verifying signature."),
            Debug(2, 3, "JWTSSLApi::verifyJWTSignature", "Verification successful"),
            Debug(2, 3, "JWTSSLApi::verifyJWTSignatureUsingHostPublicKey",
                  "JWT Verification successful using host public key.")));
}

TEST(DebugMessages, OfTheParserHaveLevel1)
{
    const HostKeyRoot root;
    writeFile(root.keyFile(), hostSigner().publicKeyPem());
    const std::vector<std::string> tokens = {strangerSigner().sign(R"({"exp":99999999999999})"),
                                             hostSigner().sign("[]"), hostSigner().sign(R"({"exp":"soon"})"),
                                             hostSigner().sign(R"({"exp":1})")};
    CapturedLog log;
    for (const int level : {0, 1}) {
        const DefaultLogger logger(level);
        for (const std::string& token : tokens) {
            EXPECT_NE(parse(token), 0);
        }
        if (level == 0) {
            EXPECT_THAT(messagesOf(log, PARSER_TAG), IsEmpty());
        }
    }
    EXPECT_THAT(messagesOf(log, PARSER_TAG),
                ElementsAre("verification of JWT failed(ValidatingJwtParser.cpp:*)",
                            "failed to create JWT, error=7610(ValidatingJwtParser.cpp:*)",
                            "JWT is expired check failed, error=8002(ValidatingJwtParser.cpp:*)",
                            "JWT is expired(ValidatingJwtParser.cpp:*)"));
}

} // namespace
} // namespace keepsafe_test
