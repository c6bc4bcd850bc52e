#include "service/accesscontrol/AccessControlTest.h"

/// Roles: who may be made, changed and deleted.

namespace keepsafe_test {
namespace {

class RoleRules : public AccessControlTest {
protected:
    Texts names() const
    {
        Texts names;
        for (const auto& role : service_->roles()) {
            names.push_back(std::to_string(role.id) + " " + role.name);
        }
        return names;
    }
};

INSTANTIATE_TEST_SUITE_P(Databases, RoleRules, allDatabases(), kindName);

TEST_P(RoleRules, ARoleIsKeptWithItsTextsAcrossARestart)
{
    const std::string odd = "it's \"ä€\U0001F600\" \\; -- %";
    const auto made = service_->createRole(odd, "Бэкап");
    restart();

    const auto found = service_->role(made.id);
    EXPECT_EQ(found.id, 8);
    EXPECT_EQ(found.name, odd);
    EXPECT_EQ(found.description, "Бэкап");
    EXPECT_FALSE(found.systemDefined);
}

TEST_P(RoleRules, RolesAreListedById)
{
    service_->createRole("b", "");
    service_->createRole("a", "");
    EXPECT_EQ(names(), (Texts{"0 Administrator", "7 operator", "8 b", "9 a"}));
}

TEST_P(RoleRules, AnIdIsNeverGivenOutTwice)
{
    const auto first = service_->createRole("first", "");
    service_->deleteRole(first.id);
    restart();
    EXPECT_EQ(service_->createRole("second", "").id, first.id + 1);
}

TEST_P(RoleRules, ANameIsTakenInItsCaseAlone)
{
    EXPECT_EQ(service_->createRole("Operator", "").id, 8);
    const auto refused = refusal([&] { service_->createRole("operator", ""); });
    EXPECT_EQ(refused.kind, Refusal::Conflict);
    EXPECT_EQ(refused.message, "the name \"operator\" is that of role 7");
    EXPECT_EQ(refusal([&] { service_->updateRole(8, "operator", ""); }).kind, Refusal::Conflict);
    EXPECT_EQ(names(), (Texts{"0 Administrator", "7 operator", "8 Operator"}));
}

TEST_P(RoleRules, ARefusedNameTakesNoId)
{
    refusal([&] { service_->createRole("operator", ""); });
    EXPECT_EQ(service_->createRole("next", "").id, 8);
}

TEST_P(RoleRules, ANewNameHas64BytesAndAChangedOne256)
{
    EXPECT_EQ(refusal([&] { service_->createRole(std::string(65, 'x'), ""); }).message,
              "the role's name has 65 bytes, and at most 64 are allowed");
    const auto role = service_->createRole(std::string(64, 'x'), std::string(256, 'd'));
    service_->updateRole(role.id, std::string(256, 'y'), std::string(256, 'e'));
    EXPECT_EQ(refusal([&] { service_->updateRole(role.id, std::string(257, 'z'), ""); }).kind,
              Refusal::Invalid);
    EXPECT_EQ(refusal([&] { service_->updateRole(role.id, "z", std::string(257, 'd')); }).kind,
              Refusal::Invalid);
    restart();
    EXPECT_EQ(service_->role(role.id).name, std::string(256, 'y'));
    EXPECT_EQ(service_->role(role.id).description, std::string(256, 'e'));
}

TEST_P(RoleRules, TextsThatCannotBeKeptAreRefusedWithEachFault)
{
    const auto refused = refusal([&] { service_->createRole("", std::string("a\0b", 3)); });
    EXPECT_EQ(refused.kind, Refusal::Invalid);
    EXPECT_EQ(refused.message, "the role's texts cannot be kept");
    EXPECT_EQ(refused.details, (Texts{"the role's name is empty",
                                      "the role's description is not UTF-8, or holds a zero byte"}));
    EXPECT_EQ(refusal([&] { service_->createRole("\xFF", ""); }).kind, Refusal::Invalid);
}

TEST_P(RoleRules, AChangedRoleKeepsItsIdAndFreesItsName)
{
    service_->updateRole(ROLE, "restorer", "restores");
    EXPECT_EQ(service_->role(ROLE).description, "restores");
    service_->updateRole(ROLE, "restorer", "still");
    EXPECT_EQ(service_->createRole("operator", "").id, 8);
    restart();
    EXPECT_EQ(names(), (Texts{"0 Administrator", "7 restorer", "8 operator"}));
}

TEST_P(RoleRules, AnUnknownRoleIsUnknownWhateverIsAskedOfIt)
{
    EXPECT_EQ(refusal([&] { (void)service_->role(99); }).message, "there is no role 99");
    EXPECT_EQ(refusal([&] { (void)service_->role(99); }).kind, Refusal::Unknown);
    EXPECT_EQ(refusal([&] { service_->updateRole(99, "", ""); }).kind, Refusal::Unknown);
    EXPECT_EQ(refusal([&] { service_->deleteRole(-1); }).kind, Refusal::Unknown);
}

TEST_P(RoleRules, Role0BelongsToTheProduct)
{
    EXPECT_TRUE(service_->role(0).systemDefined);
    EXPECT_THAT(service_->role(0).description, testing::HasSubstr("every operation on every object"));
    const auto refused = refusal([&] { service_->updateRole(0, "other", ""); });
    EXPECT_EQ(refused.kind, Refusal::Conflict);
    EXPECT_EQ(refused.message, "role 0 belongs to the product and cannot be changed");
    EXPECT_EQ(refusal([&] { service_->deleteRole(0); }).kind, Refusal::Conflict);
    EXPECT_EQ(service_->role(0).name, "Administrator");
}

TEST_P(RoleRules, ADeletedRoleTakesItsAccessDefinitionsWithIt)
{
    const auto other = service_->createRole("other", "");
    addObjects("|A| |B|");
    grant("|A|", VIEW, Propagation::OBJECT_AND_CHILDREN);
    grant("|B|", VIEW);
    grant("|B|", RESTORE, Propagation::OBJECT, other.id);
    ASSERT_TRUE(isAllowed("|A|C|", VIEW));

    service_->deleteRole(ROLE);

    EXPECT_EQ(definitionsOf("|A|"), Texts{});
    EXPECT_EQ(definitionsOf("|B|"), (Texts{"8 OBJECT |OPERATIONS|RESTORE|"}));
    EXPECT_FALSE(isAllowed("|A|C|", VIEW));
    EXPECT_TRUE(isAllowed("|B|", RESTORE, other.id));
    restart();
    EXPECT_EQ(definitionsOf("|A|"), Texts{});
    EXPECT_FALSE(isAllowed("|A|", VIEW));
}

} // namespace
} // namespace keepsafe_test
