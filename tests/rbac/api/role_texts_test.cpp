// Texts of roles that are refused before anything is sent.

#include <stdexcept>
#include <string>

#include <keepsafe/rbac/api/Roles.h>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Role;
using Tessara::Keepsafe::Rbac::RoleAPI;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char NEW_ROLE[] = R"({"data":{"type":"accessControlRole","id":"0","attributes":{"name":"plain"}}})";

class RoleTexts : public ApiTest<RoleAPI> {
protected:
    /// What the call throws, which must be of type `Error`, before anything is sent.
    template <typename Error, typename Call>
    std::string refusal(const Call& call)
    {
        std::string message = thrownBy<Error>(call).what();
        EXPECT_THAT(service_->requests, IsEmpty());
        return message;
    }
};

TEST_F(RoleTexts, LimitsNamesOfNewRolesTo64Bytes)
{
    respond(201, NEW_ROLE);
    (void)api().create_role(std::string(64, 'n'), "");
    service_->requests.clear();
    EXPECT_EQ(refusal<std::length_error>([this] { (void)api().create_role(std::string(65, 'n'), ""); }),
              "limit for role name is 64");
}

TEST_F(RoleTexts, LimitsNamesOfChangedRolesTo256Bytes)
{
    Role role;
    role.name = std::string(256, 'n');
    respond(204, "");
    api().update_role(role);
    service_->requests.clear();
    role.name += 'n';
    EXPECT_EQ(refusal<std::length_error>([&] { api().update_role(role); }), "limit for role name is 256");
}

TEST_F(RoleTexts, LimitsDescriptionsTo256Bytes)
{
    respond(201, NEW_ROLE);
    (void)api().create_role("n", std::string(256, 'd'));
    service_->requests.clear();
    EXPECT_EQ(refusal<std::length_error>([this] { (void)api().create_role("n", std::string(257, 'd')); }),
              "limit for role description is 256");
    Role role;
    role.name = "n";
    role.description = std::string(257, 'd');
    EXPECT_EQ(refusal<std::length_error>([&] { api().update_role(role); }),
              "limit for role description is 256");
}

TEST_F(RoleTexts, LimitsCountBytes)
{
    std::string name;
    std::string description;
    for (int i = 0; i < 32; ++i) {
        name += "\xC3\xA9"; // two bytes, one character
    }
    for (int i = 0; i < 128; ++i) {
        description += "\xC3\xA9";
    }
    EXPECT_EQ(refusal<std::length_error>([&] { (void)api().create_role(name + "x", ""); }),
              "limit for role name is 64");
    EXPECT_EQ(refusal<std::length_error>([&] { (void)api().create_role("n", description + "x"); }),
              "limit for role description is 256");
    Role role;
    role.name = description + "x";
    EXPECT_EQ(refusal<std::length_error>([&] { api().update_role(role); }), "limit for role name is 256");
    respond(201, NEW_ROLE);
    (void)api().create_role(name, description);
    EXPECT_EQ(service_->requests.size(), 1U);
}

TEST_F(RoleTexts, ChecksTheNamesLengthThenTheDescriptionsThenThatThereIsAName)
{
    const std::string tooLong(300, 'x');
    EXPECT_EQ(refusal<std::length_error>([&] { (void)api().create_role(tooLong, tooLong); }),
              "limit for role name is 64");
    EXPECT_EQ(refusal<std::length_error>([&] { (void)api().create_role("", tooLong); }),
              "limit for role description is 256");
    EXPECT_EQ(refusal<std::invalid_argument>([&] { (void)api().create_role("", "d"); }),
              "role name is required");
    Role role;
    EXPECT_EQ(refusal<std::invalid_argument>([&] { api().update_role(role); }), "role name is required");
    role.description = tooLong;
    EXPECT_EQ(refusal<std::length_error>([&] { api().update_role(role); }),
              "limit for role description is 256");
    role.name = tooLong;
    EXPECT_EQ(refusal<std::length_error>([&] { api().update_role(role); }), "limit for role name is 256");
    EXPECT_THAT(log_.lines(), IsEmpty());
    EXPECT_THAT(service_->created, IsEmpty());
}

TEST_F(RoleTexts, ANameThatIsNotUtf8IsBadAlloc)
{
    EXPECT_EQ(refusal<std::bad_alloc>([this] { (void)api().create_role("\xFF", ""); }), "std::bad_alloc");
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "json_pack_shared", "Error generating JSON: Invalid UTF-8 string"}));
}

TEST_F(RoleTexts, AZeroByteIsRefusedAndNotTheEndOfATextThatIsSent)
{
    const std::string cut("a\0b", 3);
    EXPECT_EQ(refusal<std::invalid_argument>([&] { (void)api().create_role(cut, ""); }),
              "role name contains a zero byte");
    EXPECT_EQ(refusal<std::invalid_argument>([&] { (void)api().create_role("n", cut); }),
              "role description contains a zero byte");
    Role role;
    role.name = "n";
    role.href = cut;
    EXPECT_EQ(refusal<std::invalid_argument>([&] { api().update_role(role); }),
              "role link contains a zero byte");
    EXPECT_THAT(service_->created, IsEmpty());
}

} // namespace
} // namespace keepsafe_test
