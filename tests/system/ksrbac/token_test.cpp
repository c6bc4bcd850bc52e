#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/status/status_codes.h>

#include "sandbox/support/SandboxRoot.h"
#include "tokens/TokenSigner.h"

// ksrbac token: the real binary, with tokens that the sandbox issued and others that no issuer would.

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::base64Url;
using keepsafe_sandbox::TokenSigner;

/// 2100-01-01 and 2000-01-01, in milliseconds.
constexpr char LATER[] = "4102444800000";
constexpr char EARLIER[] = "946684800000";

class TokenCommands : public testing::Test {
protected:
    TokenCommands() { writeFile(keyFile(), signer().publicKeyPem()); }

    static const TokenSigner& signer()
    {
        static const TokenSigner one = TokenSigner::generate();
        return one;
    }

    [[nodiscard]] std::string keyFile() const { return root_.path("var/global/tssec/jwtkeys/jwtPublicKey"); }

    /// Runs `token COMMAND`, its log messages left out.
    [[nodiscard]] ProgramResult run(const std::string& command, const std::string& token,
                                    const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> arguments{"token", command, "-", "--log-level", "17"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return root_.tool(arguments, token);
    }

    static std::string statusLine(int status, const std::string& reason = "")
    {
        return "ksrbac: status " + std::to_string(status) + ": " + getECmsg(status) +
               (reason.empty() ? "" : " (" + reason + ')') + '\n';
    }

    SandboxRoot root_;
};

std::string payload(const std::string& expiry)
{
    return R"({"jti":"id","sub":"operator1:corp:ldap","exp":)" + expiry + R"(,"is_machine":"false"})";
}

using TokenVerify = TokenCommands;

TEST_F(TokenVerify, PassesAValidTokenCheckByCheck)
{
    const ProgramResult result = run("verify", signer().sign(payload(LATER)) + "\r\n");
    EXPECT_EQ(result.output.substr(0, result.output.find(", in ")),
              "form       passed  three parts\n"
              "signature  passed  RS256 by the host's key\n"
              "payload    passed  a JSON object\n"
              "expiry     passed  expires at 2100-01-01T00:00:00.000Z");
    EXPECT_EQ(result.output.substr(result.output.find('\n', result.output.find(", in "))), "\nvalid\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(TokenVerify, SaysWhichCheckFails)
{
    const auto reason = [this](const std::string& token) {
        const ProgramResult result = run("verify", token, {"--json"});
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.errors, "");
        return result.output;
    };
    const std::string good = signer().sign(payload(LATER));
    const auto failed = [](const std::string& check, const std::string& why) {
        return R"({"valid":false,"failed":")" + check + R"(","reason":")" + why + "\"}\n";
    };
    EXPECT_EQ(reason("a.b"), failed("form", "not three parts, none of them empty, joined by dots"));
    EXPECT_EQ(reason("a..b"), failed("form", "not three parts, none of them empty, joined by dots"));
    EXPECT_EQ(reason("a.b.c"), failed("signature", "not base64url"));
    const std::string notByHost = "not RS256 of this header and payload by the host's key";
    EXPECT_EQ(reason(TokenSigner::generate().sign(payload(LATER))), failed("signature", notByHost));
    EXPECT_EQ(reason('x' + good), failed("signature", notByHost));
    EXPECT_EQ(reason(signer().sign("{}", "[1,2]")), failed("payload", "not a JSON object"));
    EXPECT_EQ(reason(signer().sign("{\"sub\":\"a\"}")),
              failed("expiry", "no \\\"exp\\\" that is an integer"));
    EXPECT_EQ(reason(signer().sign(payload("1.7e12"))),
              failed("expiry", "no \\\"exp\\\" that is an integer"));
    const std::string expired =
        R"({"valid":false,"failed":"expiry","reason":"expired at 2000-01-01T00:00:00)";
    EXPECT_EQ(reason(signer().sign(payload(EARLIER))).substr(0, expired.size()), expired);
}

TEST_F(TokenVerify, LeavesOutWhatComesAfterAFailure)
{
    const ProgramResult result = run("verify", TokenSigner::generate().sign(payload(EARLIER)));
    EXPECT_EQ(result.output, "form       passed   three parts\n"
                             "signature  FAILED   not RS256 of this header and payload by the host's key\n"
                             "payload    skipped  not looked at\n"
                             "expiry     skipped  not looked at\n"
                             "not valid\n");
    EXPECT_EQ(result.exitStatus, 1);
}

TEST_F(TokenVerify, KnowsNothingWithoutTheHostsKey)
{
    const std::string token = signer().sign(payload(LATER));
    writeFile(keyFile(), "no key");
    EXPECT_EQ(run("verify", token).errors, statusLine(8007, "Verification of JWT failed"));
    writeFile(keyFile(), "");
    EXPECT_EQ(run("verify", token).errors, statusLine(8007, "Failed to retrieve public key from the host."));
    std::filesystem::remove(keyFile());
    const ProgramResult result = run("verify", token);
    EXPECT_EQ(result.errors, statusLine(12, "Failed to load jwt public key"));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(run("verify", "no token").exitStatus, 1) << "which is known without a key";
}

TEST_F(TokenVerify, ShowsTheLibrarysMessagesAtADetailedLevel)
{
    const std::string token = signer().sign(payload(EARLIER));
    const auto log = [&](const char* level) {
        return root_.tool({"token", "verify", "-", "--log-level", level}, token).errors;
    };
    EXPECT_EQ(log("8"), "");
    EXPECT_NE(log("4").find("ValidatingJwtParser::parseJwt: JWT is expired"), std::string::npos) << log("4");
}

using TokenShow = TokenCommands;

TEST_F(TokenShow, ShowsClaimsAndTimes)
{
    const ProgramResult result = run("show", signer().sign(payload(EARLIER)));
    const std::string ago = result.output.substr(0, result.output.find(" ago\n"));
    EXPECT_EQ(ago.substr(0, ago.find(", ")), "signature  verified with the host's key\n"
                                             "expiry     expired at 2000-01-01T00:00:00.000Z");
    EXPECT_EQ(result.output.substr(ago.size()), " ago\n"
                                                "header     {\"alg\":\"RS256\",\"typ\":\"JWT\"}\n"
                                                "claims:\n"
                                                "  jti         id\n"
                                                "  sub         operator1:corp:ldap\n"
                                                "  exp         946684800000 (2000-01-01T00:00:00.000Z)\n"
                                                "  is_machine  false\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(TokenShow, ShowsTheSameAsJson)
{
    EXPECT_EQ(run("show", signer().sign(payload(EARLIER)), {"--json"}).output,
              R"({"signature":"verified","expires":"2000-01-01T00:00:00.000Z","expired":true,)"
              R"("header":"{\"alg\":\"RS256\",\"typ\":\"JWT\"}",)"
              R"("claims":{"jti":"id","sub":"operator1:corp:ldap","exp":946684800000,"is_machine":"false"}})"
              "\n");
}

TEST_F(TokenShow, SaysThatASignatureIsWrong)
{
    const std::string token = TokenSigner::generate().sign(payload(LATER));
    EXPECT_EQ(run("show", token)
                  .output.rfind(
                      "signature  WRONG: not by the host's key; anybody may have written what follows\n", 0),
              0U);
    EXPECT_EQ(run("show", token, {"--json"}).output.rfind(R"({"signature":"wrong",)", 0), 0U);
    EXPECT_EQ(run("show", token).exitStatus, 0);
}

TEST_F(TokenShow, WorksWithoutAKeyAndSaysSo)
{
    std::filesystem::remove(keyFile());
    const std::string token = signer().sign(payload(LATER));
    const ProgramResult result = run("show", token);
    EXPECT_EQ(
        result.output.rfind("signature  NOT VERIFIED: the host's public key cannot be used: status 12: ", 0),
        0U)
        << result.output;
    EXPECT_NE(result.output.find("  sub         operator1:corp:ldap\n"), std::string::npos);
    EXPECT_EQ(run("show", token, {"--json"}).output.rfind(R"({"signature":"not verified",)", 0), 0U);
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(TokenShow, LetsNoForeignByteSteerTheTerminal)
{
    const ProgramResult result =
        run("show", signer().sign("\x1B[2J", R"({"sub":"\u001b[31m\nred","\u001bkey":["\u009b1m"]})"));
    EXPECT_NE(result.output.find("header     \\x1B[2J\n"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("  sub      \\x1B[31m\\x0Ared\n"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("  \\x1Bkey  [\"\\\\u009B1m\"]\n"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find('\x1B'), std::string::npos);
}

TEST_F(TokenShow, NeverShowsTheSignature)
{
    const std::string token = signer().sign(payload(LATER));
    const std::string signature = token.substr(token.rfind('.') + 1);
    for (const std::string command : {"show", "verify", "roles"}) {
        for (const std::string level : {"2", "17"}) {
            const ProgramResult result = run(command, token, {"--log-level", level});
            EXPECT_EQ((result.output + result.errors).find(signature.substr(0, 40)), std::string::npos);
        }
    }
}

TEST_F(TokenShow, RefusesWhatIsNoToken)
{
    const ProgramResult result = run("show", "a.b");
    EXPECT_EQ(result.errors,
              "ksrbac: the input is not a token: not three parts, none of them empty, joined by dots\n");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(
        run("show", "h." + base64Url("[1]") + ".s").errors,
        "ksrbac: the input is not a token: its payload is not a JSON object in base64url (status 7610)\n");
}

using TokenRoles = TokenCommands;

TEST_F(TokenRoles, AreListedByNumber)
{
    std::filesystem::remove(keyFile());
    ASSERT_EQ(root_.sandbox({"init"}).exitStatus, 0);
    const std::string token = root_.issue("17,-5,3,17");
    const ProgramResult result = run("roles", token);
    EXPECT_EQ(result.output, "-5\n3\n17\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(run("roles", token, {"--json"}).output, "{\"roles\":[-5,3,17]}\n");
}

TEST_F(TokenRoles, AreNotListedWithTheStatusThatSaysWhy)
{
    const auto refusal = [this](const std::string& token) {
        const ProgramResult result = run("roles", token);
        EXPECT_EQ(result.exitStatus, 3);
        EXPECT_EQ(result.output, "");
        return result.errors;
    };
    const std::string token = signer().sign(payload(LATER));
    EXPECT_EQ(refusal(token), statusLine(220, "no database connection is configured"))
        << "no database is configured";
    std::filesystem::remove(keyFile());
    ASSERT_EQ(root_.sandbox({"init"}).exitStatus, 0);
    EXPECT_EQ(refusal(token), statusLine(8002, "Failed to verify signature.")) << "another key";
    EXPECT_EQ(refusal("no token"), statusLine(8002, "JWT Token is invalid"));
    EXPECT_EQ(refusal(root_.issue("17", "-1h")), statusLine(8001));
    const std::string revoked = root_.issue("17");
    ASSERT_EQ(root_.sandbox({"token", "revoke", "-"}, revoked).exitStatus, 0);
    EXPECT_EQ(refusal(revoked), statusLine(117));
}

TEST_F(TokenCommands, ReadATokenFromAFileOrStandardInputAlone)
{
    const std::string file = root_.path("token");
    writeFile(file, signer().sign(payload(LATER)) + '\n');
    EXPECT_EQ(root_.tool({"token", "verify", file}).exitStatus, 0);
    const ProgramResult missing = root_.tool({"token", "verify", root_.path("none")});
    EXPECT_EQ(missing.errors, "ksrbac: cannot read " + root_.path("none") + ": No such file or directory\n");
    EXPECT_EQ(missing.exitStatus, 2);
    EXPECT_EQ(root_.tool({"token", "verify", "-"}).errors, "ksrbac: <stdin>: there is no token in it\n");
    EXPECT_EQ(root_.tool({"token", "verify"}).exitStatus, 2);
    EXPECT_EQ(root_.tool({"token"}).exitStatus, 2);
}

} // namespace
} // namespace keepsafe_test
