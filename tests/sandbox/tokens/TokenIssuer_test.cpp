#include <chrono>
#include <limits>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <jansson.h>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/jwt/JWTSSLApi.h>

#include "errors/InputError.h"
#include "tokens/TokenIssuer.h"
#include "json/json_text.h"

namespace {

using keepsafe_sandbox::IssuedTokens;
using keepsafe_sandbox::issueTokens;
using keepsafe_sandbox::TokenRequest;
using keepsafe_sandbox::TokenSigner;
using keepsafe_service::InputError;
using keepsafe_service::jsonText;
using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::Rbac::JWTHandler;
using namespace std::chrono_literals;

const TokenSigner& signer()
{
    static const TokenSigner one = TokenSigner::generate();
    return one;
}

/// 2026-01-01T00:00:00.250Z
const std::chrono::system_clock::time_point NOW{std::chrono::milliseconds(1'767'225'600'250)};

TokenRequest request()
{
    TokenRequest wanted;
    wanted.subject = "operator1:corp:ldap";
    wanted.roles = {17, 3};
    wanted.lifetime = 8h;
    return wanted;
}

std::unique_ptr<JWT> parse(const std::string& token)
{
    JWT* jwt = nullptr;
    EXPECT_EQ(JWT::createJWT(token, jwt), 0);
    return std::unique_ptr<JWT>(jwt);
}

std::string claims(const std::string& token) { return jsonText(parse(token)->payload(), JSON_COMPACT); }

TEST(TokenIssuer, GivesTheSessionTokenTheClaimsThatTheLibraryReads)
{
    const IssuedTokens tokens = issueTokens(signer(), request(), NOW);

    EXPECT_EQ(claims(tokens.session), R"({"exp":1767254400250,"is_machine":"false","jti":")" +
                                          tokens.sessionId + R"(","sub":"operator1:corp:ldap"})");
}

TEST(TokenIssuer, GivesTheAuthorizationTokenTheRoles)
{
    const IssuedTokens tokens = issueTokens(signer(), request(), NOW);

    std::string ownId;
    ASSERT_EQ(parse(tokens.authorization)->getJwtId(ownId), 0);
    EXPECT_NE(ownId, tokens.sessionId);
    EXPECT_EQ(claims(tokens.authorization),
              R"({"exp":1767254400250,"iat":1767225600250,"is_machine":"false","jti":")" + ownId +
                  R"(","roles":[17,3],"sub":"operator1:corp:ldap"})");
    std::set<int> roleIds;
    EXPECT_EQ(JWTHandler().extractRoleIds(tokens.authorization, roleIds), 0);
    EXPECT_EQ(roleIds, (std::set<int>{3, 17}));
}

TEST(TokenIssuer, SignsBothWithItsKey)
{
    const IssuedTokens tokens = issueTokens(signer(), request(), NOW);

    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(tokens.session, signer().publicKeyPem()));
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(tokens.authorization, signer().publicKeyPem()));
}

TEST(TokenIssuer, GivesEverySessionAnIdentifierOfItsOwn)
{
    std::set<std::string> seen;
    for (int i = 0; i < 20; ++i) {
        const std::string id = issueTokens(signer(), request(), NOW).sessionId;
        EXPECT_EQ(id.size(), 32U);
        EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 20U);
}

TEST(TokenIssuer, MarksMachines)
{
    TokenRequest wanted = request();
    wanted.isMachine = true;
    bool isMachine = false;
    EXPECT_EQ(JWT::isMachineCheck(issueTokens(signer(), wanted, NOW).session, isMachine), 0);
    EXPECT_TRUE(isMachine);
}

TEST(TokenIssuer, AnEmptyRoleListIsAnEmptyArray)
{
    TokenRequest wanted = request();
    wanted.roles.clear();
    std::set<int> roleIds;
    EXPECT_EQ(JWTHandler().extractRoleIds(issueTokens(signer(), wanted, NOW).authorization, roleIds), 0);
    EXPECT_TRUE(roleIds.empty());
}

TEST(TokenIssuer, TakesAnySubjectThatIsText)
{
    for (const std::string& subject :
         {std::string("a\"b\\c\n"), std::string("J\xC3\xB6rg"), std::string("tab\tinside")}) {
        TokenRequest wanted = request();
        wanted.subject = subject;
        const auto jwt = parse(issueTokens(signer(), wanted, NOW).authorization);
        const json_t* sub = json_object_get(jwt->payload(), "sub");
        EXPECT_EQ(std::string(json_string_value(sub), json_string_length(sub)), subject);
    }
}

TEST(TokenIssuer, RefusesASubjectThatIsNoneOrNoText)
{
    for (const std::string subject : {"", "\xFF", "\xC3"}) {
        TokenRequest wanted = request();
        wanted.subject = subject;
        EXPECT_THROW((void)issueTokens(signer(), wanted, NOW), InputError);
    }
}

} // namespace
