#include <keepsafe/jwt/JWT.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>
#include <openssl/err.h>

#include "jwt/expected_lines.h"
#include "jwt/keys.h"
#include "support/CapturedLog.h"
#include "support/SmallStackThread.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JWT;
using testing::ElementsAre;
using testing::IsEmpty;

using Text = std::unique_ptr<char, decltype(&std::free)>;

std::unique_ptr<JWT> parsed(const std::string& payload)
{
    JWT* made = nullptr;
    EXPECT_EQ(JWT::createJWT(unsignedToken(payload), made), 0) << payload;
    return std::unique_ptr<JWT>(made);
}

class JWTTest : public testing::Test {
protected:
    CapturedLog log_;
};

/// What `createJWT` returns for a text that it refuses.
int refusal(const std::string& token)
{
    JWT something;
    JWT* made = &something;
    const int status = JWT::createJWT(token, made);
    EXPECT_EQ(made, nullptr) << "no object is left behind";
    EXPECT_EQ(ERR_peek_error(), 0U);
    return status;
}

TEST_F(JWTTest, AnObjectThatReadNoTokenHasNoPayload)
{
    EXPECT_EQ(JWT().payload(), nullptr);
    EXPECT_EQ(JWT("a.e30.c").payload(), nullptr);
}

TEST_F(JWTTest, TheGettersOfAnObjectWithoutPayloadFailAndWriteNothing)
{
    const JWT jwt;
    std::string text = "as it was";
    long long exp = -7;
    bool expired = false;
    EXPECT_EQ(jwt.getJwtId(text), 8002);
    EXPECT_EQ(jwt.getSubject(text), 8002);
    EXPECT_EQ(jwt.getExpiry(exp), 8002);
    EXPECT_EQ(jwt.isExpired(expired), 8002);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(exp, -7);
    EXPECT_TRUE(expired);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::error("JWT::getJwtId", lines::NO_PAYLOAD),
                                          lines::error("JWT::getSubject", lines::NO_PAYLOAD),
                                          lines::error("JWT::getExpiry", lines::NO_PAYLOAD),
                                          lines::error("JWT::isExpired", lines::NO_PAYLOAD)));
}

TEST_F(JWTTest, ATokenWithAnObjectAsPayloadIsAnObjectOfTheCaller)
{
    JWT* made = nullptr;
    EXPECT_EQ(JWT::createJWT(unsignedToken(R"({"sub":"alice"})"), made), 0);
    const std::unique_ptr<JWT> jwt(made);
    ASSERT_NE(jwt, nullptr);
    EXPECT_TRUE(json_is_object(jwt->payload()));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(JWTTest, InitReadsATokenIntoAnObjectThatIsThere)
{
    JWT jwt;
    std::string subject;
    EXPECT_EQ(jwt.init(unsignedToken(R"({"sub":"alice"})")), 0);
    EXPECT_EQ(jwt.getSubject(subject), 0);
    EXPECT_EQ(subject, "alice");
    EXPECT_EQ(jwt.init(unsignedToken(R"({"sub":"bob"})")), 0);
    EXPECT_EQ(jwt.getSubject(subject), 0);
    EXPECT_EQ(subject, "bob");
}

TEST_F(JWTTest, AWrongNumberOfDotsIs8002WithAMessage)
{
    EXPECT_EQ(refusal("a.b"), 8002);
    EXPECT_EQ(refusal("a.b.c.d"), 8002);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::WRONG_DOTS, lines::WRONG_DOTS));
}

TEST_F(JWTTest, AnEmptyPartIs8002WithoutAMessage)
{
    EXPECT_EQ(refusal("a..c"), 8002);
    EXPECT_EQ(refusal(".b.c"), 8002);
    EXPECT_EQ(refusal("a.b."), 8002);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(JWTTest, APayloadPartOfFiveCharactersIs20)
{
    EXPECT_EQ(refusal("a.eyAgI.c"), 20);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::WRONG_LENGTH));
}

TEST_F(JWTTest, APayloadPartOfSixOrSevenCharactersIsPadded)
{
    JWT jwt;
    EXPECT_EQ(jwt.init("a.eyAgfQ.c"), 0) << "an object of four bytes";
    EXPECT_EQ(jwt.init("a.eyAgIH0.c"), 0) << "an object of five bytes";
}

TEST_F(JWTTest, DashAndUnderscoreInThePayloadDecodeAsPlusAndSlash)
{
    JWT jwt;
    std::string subject;
    ASSERT_EQ(jwt.init("a.eyJzdWIiOiJ-fj8_In0.c"), 0);
    ASSERT_EQ(jwt.getSubject(subject), 0);
    EXPECT_EQ(subject, "~~??");
    ASSERT_EQ(jwt.init("a.eyJzdWIiOiJ+fj8/In0.c"), 0);
    ASSERT_EQ(jwt.getSubject(subject), 0);
    EXPECT_EQ(subject, "~~??");
}

TEST_F(JWTTest, APayloadThatIsNoObjectIs7610)
{
    EXPECT_EQ(refusal(unsignedToken("[1,2]")), 7610);
    EXPECT_EQ(refusal(unsignedToken("42")), 7610);
    EXPECT_EQ(refusal(unsignedToken("nonsense")), 7610);
    EXPECT_EQ(refusal("a.!!!!.c"), 7610) << "not base64url";
    EXPECT_THAT(log_.lines(), ElementsAre(lines::NOT_AN_OBJECT, lines::NOT_AN_OBJECT, lines::NOT_AN_OBJECT,
                                          lines::NOT_AN_OBJECT));
}

TEST_F(JWTTest, HeaderAndSignatureAreNotLookedAt)
{
    JWT jwt;
    EXPECT_EQ(jwt.init("!.e30.?"), 0);
    EXPECT_EQ(jwt.init(std::string("\0.e30.\xFF", 7)), 0);
}

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

TEST_F(JWTTest, LoadingTakesTheTextUpToItsZero)
{
    JWT jwt;
    EXPECT_EQ(jwt.loadJSONPayload(bytes("{}\0]")), 0);
    EXPECT_TRUE(json_is_object(jwt.payload()));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(JWTTest, LoadingNullCountsAsAnEmptyText)
{
    JWT jwt;
    EXPECT_EQ(jwt.loadJSONPayload(nullptr), 7610);
    EXPECT_EQ(jwt.payload(), nullptr);
    EXPECT_EQ(jwt.loadJSONPayload(bytes("")), 7610);
    EXPECT_EQ(jwt.payload(), nullptr);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::NOT_AN_OBJECT, lines::NOT_AN_OBJECT));
}

TEST_F(JWTTest, LoadingReleasesWhatWasReadBefore)
{
    JWT jwt;
    ASSERT_EQ(jwt.loadJSONPayload(bytes(R"({"sub":"alice"})")), 0);
    json_t* const before = json_incref(json_object_get(jwt.payload(), "sub"));
    EXPECT_EQ(jwt.loadJSONPayload(bytes("nonsense")), 7610);
    EXPECT_EQ(before->refcount, 1U) << "the object that held it is gone";
    EXPECT_EQ(jwt.payload(), nullptr);
    json_decref(before);
}

TEST_F(JWTTest, APayloadOfAnotherTypeIsKeptButHasNoClaims)
{
    JWT jwt;
    std::string subject = "as it was";
    EXPECT_EQ(jwt.loadJSONPayload(bytes(R"(["sub"])")), 7610);
    EXPECT_TRUE(json_is_array(jwt.payload()));
    EXPECT_EQ(jwt.getSubject(subject), 8002);
    EXPECT_EQ(subject, "as it was");
    EXPECT_THAT(log_.lines(),
                ElementsAre(lines::NOT_AN_OBJECT, lines::error("JWT::getSubject", lines::NOT_A_STRING)));
}

TEST_F(JWTTest, ClaimsAreDeliveredAsTheyStand)
{
    const auto jwt = parsed(R"({"jti":"4711","sub":"alice:corp:ldap","exp":1234567890123})");
    std::string jti;
    std::string subject;
    long long exp = 0;
    EXPECT_EQ(jwt->getJwtId(jti), 0);
    EXPECT_EQ(jwt->getSubject(subject), 0);
    EXPECT_EQ(jwt->getExpiry(exp), 0);
    EXPECT_EQ(jti, "4711");
    EXPECT_EQ(subject, "alice:corp:ldap");
    EXPECT_EQ(exp, 1234567890123);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(JWTTest, AMissingClaimFailsAndWritesNothing)
{
    const auto jwt = parsed("{}");
    std::string text = "as it was";
    long long exp = -7;
    bool expired = false;
    EXPECT_EQ(jwt->getJwtId(text), 8002);
    EXPECT_EQ(jwt->getSubject(text), 8002);
    EXPECT_EQ(jwt->getExpiry(exp), 8002);
    EXPECT_EQ(jwt->isExpired(expired), 8002);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(exp, -7);
    EXPECT_TRUE(expired);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::error("JWT::getJwtId", lines::JTI_NOT_A_STRING),
                                          lines::error("JWT::getSubject", lines::NOT_A_STRING),
                                          lines::error("JWT::getExpiry", lines::NOT_AN_INTEGER),
                                          lines::error("JWT::isExpired", lines::NOT_AN_INTEGER)));
}

TEST_F(JWTTest, AClaimOfAnotherTypeIsNotConverted)
{
    const auto jwt = parsed(R"({"jti":4711,"sub":["alice"],"exp":"1234567890123"})");
    std::string text = "as it was";
    long long exp = -7;
    EXPECT_EQ(jwt->getJwtId(text), 8002);
    EXPECT_EQ(jwt->getSubject(text), 8002);
    EXPECT_EQ(jwt->getExpiry(exp), 8002);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(exp, -7);
}

TEST_F(JWTTest, AnExpiryGivenAsARealFailsAndCountsAsExpired)
{
    const auto jwt = parsed(R"({"exp":1.7e12})");
    bool expired = false;
    EXPECT_EQ(jwt->isExpired(expired), 8002);
    EXPECT_TRUE(expired);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::error("JWT::isExpired", lines::NOT_AN_INTEGER)));
}

bool isExpired(long long exp)
{
    bool expired = false;
    EXPECT_EQ(parsed("{\"exp\":" + std::to_string(exp) + "}")->isExpired(expired), 0);
    return expired;
}

/// The answer for `offset` from the current time, asked within one second.
bool isExpiredAt(long long offsetMs)
{
    for (;;) {
        const long long now = nowMs();
        const bool expired = isExpired(now + offsetMs);
        if (nowMs() == now) {
            return expired;
        }
    }
}

TEST_F(JWTTest, ATokenExpiresAfterTheSecondThatExpNames)
{
    EXPECT_FALSE(isExpiredAt(0));
    EXPECT_FALSE(isExpiredAt(1));
    EXPECT_TRUE(isExpiredAt(-1));
    EXPECT_TRUE(isExpiredAt(-1000));
}

TEST_F(JWTTest, AnExpiryInSecondsIsLongAgo) { EXPECT_TRUE(isExpired(nowMs() / 1000 + 3600)); }

TEST_F(JWTTest, TheExtremesOf64BitsAreTimes)
{
    EXPECT_FALSE(isExpired(std::numeric_limits<long long>::max()));
    EXPECT_TRUE(isExpired(std::numeric_limits<long long>::min()));
}

/// What `isMachineCheck` delivers for a payload, its status being 0.
bool isMachine(const std::string& payload)
{
    bool machine = true;
    EXPECT_EQ(JWT::isMachineCheck(unsignedToken(payload), machine), 0) << payload;
    return machine;
}

TEST_F(JWTTest, OnlyTheExactTextTrueMakesAMachine)
{
    EXPECT_TRUE(isMachine(R"({"is_machine":"true"})"));
    EXPECT_FALSE(isMachine(R"({"is_machine":"True"})"));
    EXPECT_FALSE(isMachine(R"({"is_machine":"yes"})"));
    EXPECT_FALSE(isMachine(R"({"is_machine":""})"));
    EXPECT_FALSE(isMachine(R"({"is_machine":"true "})"));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(JWTTest, AMachineFlagThatIsNoStringIs8002)
{
    bool machine = true;
    EXPECT_EQ(JWT::isMachineCheck(unsignedToken(R"({"is_machine":true})"), machine), 8002);
    EXPECT_FALSE(machine);
    machine = true;
    EXPECT_EQ(JWT::isMachineCheck(unsignedToken("{}"), machine), 8002);
    EXPECT_FALSE(machine);
    const auto message = lines::error("isMachineCheck", lines::NOT_A_STRING);
    EXPECT_THAT(log_.lines(), ElementsAre(message, message));
}

TEST_F(JWTTest, ATokenThatCannotBeReadIsNoMachineAndItsStatusIsPassedOn)
{
    const auto message = lines::error("isMachineCheck", "failed to create JWT");
    for (const auto& [token, status, cause] : {std::make_tuple("a.b", 8002, lines::WRONG_DOTS),
                                               std::make_tuple("a.bcdef.c", 20, lines::WRONG_LENGTH),
                                               std::make_tuple("a.bcde.c", 7610, lines::NOT_AN_OBJECT)}) {
        bool machine = true;
        EXPECT_EQ(JWT::isMachineCheck(token, machine), status);
        EXPECT_FALSE(machine);
        EXPECT_THAT(log_.lines(), ElementsAre(cause, message));
        log_.clear();
    }
}

TEST_F(JWTTest, TheSubjectIsExtractedAsAMallocedText)
{
    const Text subject(JWT::extractSubject(unsignedToken(R"({"sub":"alice:corp:ldap"})")), std::free);
    EXPECT_STREQ(subject.get(), "alice:corp:ldap");
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(JWTTest, NoSubjectIsExtractedFromATokenThatCannotBeRead)
{
    EXPECT_EQ(JWT::extractSubject("a.b"), nullptr);
    EXPECT_THAT(log_.lines(),
                ElementsAre(lines::WRONG_DOTS, lines::error("extractSubject", "failed to create JWT")));
}

TEST_F(JWTTest, NoSubjectIsExtractedWhenItIsNoString)
{
    EXPECT_EQ(JWT::extractSubject(unsignedToken(R"({"sub":5})")), nullptr);
    EXPECT_THAT(log_.lines(), ElementsAre(lines::error("JWT::getSubject", lines::NOT_A_STRING),
                                          lines::error("extractSubject", "JWT getSubject failed")));
}

TEST_F(JWTTest, APayloadThatIsNestedDeepIs7610OnASmallStack)
{
    const std::string deep = R"({"x":)" + std::string(2040, '[') + std::string(2040, ']') + "}";
    int status = 0;
    runOnSmallStack([&] { status = refusal(unsignedToken(deep)); }, 64);
    EXPECT_EQ(status, 7610);
}

} // namespace
} // namespace keepsafe_test
