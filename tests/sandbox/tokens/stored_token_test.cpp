#include <string>

#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/CapturedLog.h"
#include "support/thrown.h"
#include "tokens/TokenSigner.h"
#include "tokens/stored_token.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::base64Url;
using keepsafe_sandbox::describeStored;
using keepsafe_sandbox::sessionIdOf;
using keepsafe_service::InputError;

class StoredToken : public testing::Test {
protected:
    static std::string token(const std::string& payload) { return "h." + base64Url(payload) + ".s"; }

    static std::string refusal(const std::string& text)
    {
        return thrownBy<InputError>([&] { (void)sessionIdOf(text); }).what();
    }

    CapturedLog log_;
};

TEST_F(StoredToken, BelongsToTheSessionThatJtiNames)
{
    EXPECT_EQ(sessionIdOf(token(R"({"jti": "abc"})")), "abc");
}

TEST_F(StoredToken, BelongsToNoSessionWithoutOne)
{
    EXPECT_EQ(refusal("no token"), "the input is not a token");
    EXPECT_EQ(refusal(token("[]")), "the input is not a token");
    EXPECT_EQ(refusal(token("{}")), R"(the token has no "jti", so nothing can be stored for it)");
    EXPECT_EQ(refusal(token(R"({"jti": 1})")), R"(the token has no "jti", so nothing can be stored for it)");
}

TEST_F(StoredToken, IsDescribedByItsClaimsOnOneLine)
{
    EXPECT_EQ(describeStored("id", token(R"({"sub": "a\nb\u001b", "exp": 5, "is_machine": "true",
                                             "roles": [3, 17], "other": 1})")),
              R"({"exp":5,"is_machine":"true","roles":[3,17],"session":"id","sub":"a\nb\u001B"})");
}

TEST_F(StoredToken, IsDescribedWithoutWhatItDoesNotSay)
{
    EXPECT_EQ(describeStored("id", token("{}")),
              R"({"exp":null,"is_machine":null,"roles":null,"session":"id","sub":null})");
    EXPECT_EQ(describeStored("id", "damaged"), R"({"error":"not a token","session":"id"})");
}

} // namespace
} // namespace keepsafe_test
