#include <algorithm>

#include "errors/InputError.h"
#include "policy/import_policy.h"
#include "policy/policy_reader.h"
#include "service/accesscontrol/AccessControlTest.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::importPolicy;
using keepsafe_sandbox::readPolicy;
using keepsafe_sandbox::Replace;
using keepsafe_service::DatabaseError;
using keepsafe_service::InputError;
using keepsafe_service::Renumber;
using keepsafe_service::Store;

constexpr char POLICY[] = R"({
  "operations": {"|OPERATIONS|VIEW|": 3, "|OPERATIONS|RESTORE|": 70},
  "roles": [{"id": 0, "name": "everything"}, {"id": 40, "name": "auditor"}, {"id": 17, "name": "it's \u20ac"}],
  "objects": [{"namespace": "|"}, {"namespace": "|A|", "inherit": false}],
  "accessDefinitions": [
    {"object": "|A|", "role": 17, "propagation": "CHILDREN",
     "operations": ["|OPERATIONS|RESTORE|", "|OPERATIONS|VIEW|", "|OPERATIONS|RESTORE|"]},
    {"object": "|", "role": 40, "propagation": "OBJECT_AND_CHILDREN", "operations": ["|OPERATIONS|VIEW|"]},
    {"object": "|A|", "role": 40, "propagation": "OBJECT", "operations": []}]})";

class ImportPolicy : public AccessControlTest {
protected:
    std::uint64_t import(const std::string& policy, Replace replace = Replace::Allow,
                         Renumber renumber = Renumber::Allow)
    {
        service_.reset();
        return importPolicy(database_, fileSystem_, location_, readPolicy(policy, ObjectNamespace()), replace,
                            renumber);
    }

    std::string refused(const std::string& policy, Replace replace = Replace::Allow,
                        Renumber renumber = Renumber::Allow)
    {
        return thrownBy<InputError>([&] { import(policy, replace, renumber); }).what();
    }

    static std::string withRoles(const std::string& roles)
    {
        return R"({"operations": {}, "objects": [], "accessDefinitions": [], "roles": [)" + roles + "]}";
    }
};

INSTANTIATE_TEST_SUITE_P(Databases, ImportPolicy, allDatabases(), kindName);

TEST_P(ImportPolicy, PutsThePolicyInThePlaceOfEverything)
{
    addObjects("|old|");
    grant("|old|", VIEW);
    import(POLICY);
    EXPECT_FALSE(isAllowed("|old|", VIEW));
    restart();

    const std::string administrator =
        "0 Administrator Allowed every operation on every object, whatever the access definitions say";
    EXPECT_EQ(everything(namespaces("|old| | |A|")),
              (Texts{administrator, "17 it's € ", "40 auditor ", "|  READY", "3",
                     "40 OBJECT_AND_CHILDREN |OPERATIONS|VIEW|", "|A|  READY alone", "2", "4",
                     "17 CHILDREN |OPERATIONS|RESTORE| |OPERATIONS|VIEW|", "40 OBJECT"}));
    EXPECT_EQ(service_->operations(), (std::vector<ObjectNamespace>{RESTORE, VIEW}));
}

TEST_P(ImportPolicy, TellsWhatItIsDoing)
{
    service_.reset();
    Texts told;
    importPolicy(database_, fileSystem_, location_, readPolicy(POLICY, ObjectNamespace()), Replace::Allow,
                 Renumber::Allow, [&told](const std::string& work, std::uint64_t done, std::uint64_t total) {
                     told.push_back(work + ' ' + std::to_string(done) + ' ' + std::to_string(total));
                 });
    EXPECT_EQ(told, (Texts{"reading the database 0 0", "storing the policy 2 5", "storing the policy 5 5",
                           "writing the journal 0 0", "publishing the access cache 0 0"}));
}

TEST_P(ImportPolicy, PublishesWhatTheServiceAnswersLaterToo)
{
    import(POLICY);
    for (int start = 0; start < 2; ++start) {
        EXPECT_TRUE(isAllowed("|A|B|", RESTORE, 17));
        EXPECT_FALSE(isAllowed("|A|", RESTORE, 17));
        EXPECT_TRUE(isAllowed("|C|", VIEW, 40));
        EXPECT_FALSE(isAllowed("|A|", VIEW, 40)) << "does not inherit";
        restart();
    }
}

TEST_P(ImportPolicy, NeverLetsIdsComeAgain)
{
    import(POLICY);
    restart();
    EXPECT_EQ(service_->createRole("new", "").id, 41);
    EXPECT_EQ(service_->addAccessDefinition(ns("|A|"), {17, Propagation::OBJECT, {VIEW}}).id, "4");
    import(withRoles(""));
    restart();
    EXPECT_EQ(service_->createRole("new", "").id, 42);
}

TEST_P(ImportPolicy, RefusesToReplaceUnlessItIsToldTo)
{
    addObjects("|A| |B|");
    grant("|A|", VIEW);
    EXPECT_EQ(refused(POLICY, Replace::Refuse),
              "there are 2 objects, 1 access definitions, 1 roles and 3 operations already: with --replace, "
              "the policy takes their place");
    restart();
    EXPECT_EQ(definitionsOf("|A|").size(), 1U);
}

TEST_P(ImportPolicy, NeedsNoReplacementWhereThereIsRole0Alone)
{
    service_.reset();
    private_.run("DELETE FROM AUTH_MAIN.ACTL_Role WHERE RoleID <> 0");
    private_.run("DELETE FROM AUTH_MAIN.ACTL_Operation");
    EXPECT_NO_THROW(import(POLICY, Replace::Refuse, Renumber::Allow));
    EXPECT_NE(refused(POLICY, Replace::Refuse), "");
}

TEST_P(ImportPolicy, RefusesBitsThatContradictThePublishedOnesAndStoresNothing)
{
    addObjects("|A|");
    EXPECT_EQ(refused(POLICY, Replace::Allow, Renumber::Refuse),
              "operation |OPERATIONS|RESTORE|: bit 70 is asked for, but it is published with bit 6");
    restart();
    EXPECT_EQ(stateOf("|A|"), "READY");
    EXPECT_EQ(service_->operations().size(), 3U);
}

TEST_P(ImportPolicy, RefusesRolesThatTheServiceCannotKeep)
{
    EXPECT_EQ(refused(withRoles(R"({"id": 1, "name": "a"}, {"id": -2, "name": "b"})")),
              "roles[1].id: the service's roles have no negative ids, as -2");
    EXPECT_EQ(refused(withRoles(R"({"id": 1, "name": "a"}, {"id": 2, "name": "a"})")),
              "roles[1].name: another role has the name \"a\"");
    EXPECT_EQ(refused(withRoles(R"({"id": 1, "name": "Administrator"})")),
              "roles[0].name: another role has the name \"Administrator\"");
    EXPECT_EQ(refused(withRoles(R"({"id": 1, "name": ""})")), "roles[0].name: the role's name is empty");
    EXPECT_EQ(refused(withRoles(R"({"id": 1, "name": ")" + std::string(257, 'x') + "\"}")),
              "roles[0].name: the role's name has 257 bytes, and at most 256 are allowed");
    restart();
    EXPECT_EQ(service_->roles().size(), 2U);
}

TEST_P(ImportPolicy, RefusesANameThatIsTooLong)
{
    const std::string name = "|" + std::string(4095, 'x') + "|";
    EXPECT_EQ(
        refused(R"({"operations": {}, "roles": [], "accessDefinitions": [], "objects": [{"namespace": ")" +
                name + "\"}]}"),
        "objects[0].namespace: the object's name " + name.substr(0, 64) +
            "... has 4097 bytes, and at most 4096 are allowed");
}

TEST_P(ImportPolicy, ThatTheDatabaseDoesNotTakeChangesNothing)
{
    addObjects("|old|");
    grant("|old|", VIEW);
    private_.run("ALTER TABLE AUTH_MAIN.ACTL_NextID RENAME COLUMN NextID TO Other");
    private_.run("ALTER TABLE AUTH_MAIN.ACTL_NextID ADD COLUMN NextID INTEGER");
    private_.run("UPDATE AUTH_MAIN.ACTL_NextID SET NextID = Other");
    // Rows of the counters can be read but, as Other has no value, not be added.
    private_.run("DELETE FROM AUTH_MAIN.ACTL_NextID");
    EXPECT_THROW(import(POLICY), DatabaseError);
    restart();
    EXPECT_EQ(definitionsOf("|old|").size(), 1U);
    EXPECT_TRUE(isAllowed("|old|", VIEW));
}

} // namespace
} // namespace keepsafe_test
