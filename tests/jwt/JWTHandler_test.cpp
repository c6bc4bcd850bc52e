#include <keepsafe/jwt/JWTHandler.h>

#include <limits>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include "jwt/expected_lines.h"
#include "jwt/keys.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::JWTHandler;
using testing::ElementsAre;
using testing::IsEmpty;
using Roles = std::set<int>;

const auto NO_ARRAY = lines::error(lines::EXTRACT_TAG, "JSON is invalid. Roles is NULL or not an array");
const auto NO_INTEGER =
    lines::error(lines::EXTRACT_TAG, "JSON is invalid. Role ID is NULL or not an integer");

class ExtractRoleIdsTest : public testing::Test {
protected:
    ~ExtractRoleIdsTest() override { EXPECT_EQ(ERR_peek_error(), 0U); }

    int extract(const std::string& payload)
    {
        return JWTHandler().extractRoleIds(unsignedToken(payload), roles_);
    }

    Roles roles_;
    CapturedLog log_;
};

TEST_F(ExtractRoleIdsTest, TheElementsOfRolesAreTheIds)
{
    EXPECT_EQ(extract(R"({"roles":[3,17,42]})"), 0);
    EXPECT_EQ(roles_, (Roles{3, 17, 42}));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ExtractRoleIdsTest, DuplicatesCollapse)
{
    EXPECT_EQ(extract(R"({"roles":[5,5,2]})"), 0);
    EXPECT_EQ(roles_, (Roles{2, 5}));
}

TEST_F(ExtractRoleIdsTest, AnEmptyArrayGivesNoIds)
{
    EXPECT_EQ(extract(R"({"roles":[]})"), 0);
    EXPECT_EQ(roles_, Roles{});
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ExtractRoleIdsTest, TheIdsAreAddedToThoseThatAreThere)
{
    roles_ = {1};
    EXPECT_EQ(extract(R"({"roles":[2]})"), 0);
    EXPECT_EQ(roles_, (Roles{1, 2}));
}

TEST_F(ExtractRoleIdsTest, RolesThatAreNoArrayAre8002)
{
    for (const std::string payload : {"{}", R"({"roles":null})", R"({"roles":{"3":3}})", R"({"roles":3})",
                                      R"({"roles":"3"})", R"({"Roles":[3]})"}) {
        EXPECT_EQ(extract(payload), 8002) << payload;
        EXPECT_THAT(log_.lines(), ElementsAre(NO_ARRAY)) << payload;
        log_.clear();
    }
    EXPECT_EQ(roles_, Roles{});
}

TEST_F(ExtractRoleIdsTest, AnElementThatIsNoIntegerIs8002)
{
    for (const std::string element : {R"("5")", "5.0", "null", "true", "[5]", "{}"}) {
        EXPECT_EQ(extract("{\"roles\":[" + element + "]}"), 8002) << element;
        EXPECT_THAT(log_.lines(), ElementsAre(NO_INTEGER)) << element;
        log_.clear();
    }
    EXPECT_EQ(roles_, Roles{});
}

TEST_F(ExtractRoleIdsTest, TheIdsBeforeAWrongElementAreInTheSet)
{
    EXPECT_EQ(extract(R"({"roles":[1,"x",3]})"), 8002);
    EXPECT_EQ(roles_, Roles{1});
    EXPECT_THAT(log_.lines(), ElementsAre(NO_INTEGER));
}

TEST_F(ExtractRoleIdsTest, AnIdCountsByItsLow32Bits)
{
    EXPECT_EQ(extract(R"({"roles":[4294967297]})"), 0);
    EXPECT_EQ(roles_, Roles{1});
    roles_.clear();
    EXPECT_EQ(extract(R"({"roles":[2147483648, 9223372036854775807, -9223372036854775808]})"), 0);
    EXPECT_EQ(roles_, (Roles{std::numeric_limits<int>::min(), -1, 0}));
}

TEST_F(ExtractRoleIdsTest, ATokenThatCannotBeReadPassesItsStatusOn)
{
    const auto message = [](int status) {
        return lines::error(lines::EXTRACT_TAG, "Failed to create JWT, error=" + std::to_string(status));
    };
    EXPECT_EQ(JWTHandler().extractRoleIds("a.b", roles_), 8002);
    EXPECT_EQ(JWTHandler().extractRoleIds("a..c", roles_), 8002);
    EXPECT_EQ(JWTHandler().extractRoleIds("a.bcdef.c", roles_), 20);
    EXPECT_EQ(extract("[3]"), 7610);
    EXPECT_EQ(roles_, Roles{});
    EXPECT_THAT(log_.lines(),
                ElementsAre(lines::WRONG_DOTS, message(8002), message(8002), lines::WRONG_LENGTH, message(20),
                            lines::NOT_AN_OBJECT, message(7610)));
}

TEST_F(ExtractRoleIdsTest, SignatureAndExpiryDoNotMatter)
{
    EXPECT_EQ(JWTHandler().extractRoleIds(strangerSigner().sign(R"({"exp":1,"roles":[3]})"), roles_), 0);
    EXPECT_EQ(roles_, Roles{3});
}

} // namespace
} // namespace keepsafe_test
