#include <algorithm>
#include <climits>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "MasterServerTest.h"
#include "service/RoleNames.h"
#include "service/ask_service.h"
#include "support/AccessModel.h"
#include "support/CacheWriter.h"
#include "support/thrown.h"

// Roles by their names, in arguments and in answers.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using ksrbac::InputError;
using ksrbac::ServiceError;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string ASKED_FOR_NAMES = "GET " + SERVICE + "roles";

std::string namedRole(int id, const std::string& name)
{
    return R"({"type":"accessControlRole","id":")" + std::to_string(id) +
           R"(","links":{"self":{"href":"/access-control/roles/)" + std::to_string(id) +
           R"("}},"attributes":{"name":")" + name + R"("}})";
}

/// The service has roles, two of which have the same name, and the host a cache that grants role 17 and -5.
class RoleNamesTest : public MasterServerTest {
protected:
    RoleNamesTest()
    {
        std::string list;
        for (const std::string& role :
             {namedRole(3, "Auditor"), namedRole(17, "Restore operator"), namedRole(18, "A,b:c@50%"),
              namedRole(20, "Twin"), namedRole(21, "Twin")}) {
            list += (list.empty() ? "" : ",") + role;
        }
        server_.playAlways(answer(200, R"({"data":[)" + list + "]}"));
        writeFile(Tessara::Keepsafe::Rbac::OperationCache::fileName(), R"({"|O|VIEW|": 4})");
        AccessModel model;
        model.objects[ObjectNamespace("A")] = {true, {{17, {4}}}, {{-5, {4}}}};
        CacheWriter(model, {}).write(root_.path("wmc/webserver/temp/access-caches/main"));
        CacheWriter(AccessModel(), {}).write(root_.path("wmc/webserver/temp/access-caches/empty"));
    }

    static std::set<int> read(const std::string& text)
    {
        ksrbac::RoleNames names("check");
        return readRoles(names, "--roles", text);
    }
    static std::string complaintAbout(const std::string& text)
    {
        return thrownBy<InputError>([&text] { read(text); }).what();
    }
    [[nodiscard]] ProgramRun check(std::vector<std::string> more) const
    {
        more.insert(more.begin(), {"check", "--cache", "main", "--operation", "|O|VIEW|"});
        return run(more);
    }
};

TEST_F(RoleNamesTest, IdsAreNumbersWithCommasBetweenThemAndNobodyIsAsked)
{
    EXPECT_EQ(read("17,3"), (std::set<int>{3, 17}));
    EXPECT_EQ(read("-5,3,0"), (std::set<int>{-5, 0, 3}));
    EXPECT_EQ(read("2147483647,-2147483648"), (std::set<int>{INT_MAX, INT_MIN}));
    EXPECT_EQ(read("4,4,4"), (std::set<int>{4}));
    EXPECT_TRUE(read("").empty());
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(RoleNamesTest, NamesAreLookedUpInOneRequest)
{
    EXPECT_EQ(read("Restore operator,4,Auditor"), (std::set<int>{3, 4, 17}));
    EXPECT_THAT(requests(), ElementsAre(ASKED_FOR_NAMES));
}

TEST_F(RoleNamesTest, SeparatorsInANameAreWrittenAsTheirBytes)
{
    EXPECT_EQ(read("A%2Cb%3ac@50%,3"), (std::set<int>{3, 18}));
    EXPECT_EQ(read("A%2Cb:c%4050%25"), (std::set<int>{18}));
}

TEST_F(RoleNamesTest, NamesThatNoRoleHasAreNamed)
{
    EXPECT_EQ(complaintAbout("Auditr"),
              R"(--roles: the service has no role "Auditr"; did you mean Auditor?)");
    EXPECT_EQ(complaintAbout("x,Auditor,y z"), R"(--roles: the service has no roles "x" and "y z")");
    EXPECT_EQ(complaintAbout("auditor"),
              R"(--roles: the service has no role "auditor"; did you mean Auditor?)");
    EXPECT_EQ(complaintAbout(" 1"), R"(--roles: the service has no role " 1")");
}

TEST_F(RoleNamesTest, ANameOfSeveralRolesIsRefusedWithTheirIds)
{
    EXPECT_EQ(complaintAbout("3,Twin"),
              R"(--roles: "Twin" is the name of several roles, give one of the ids 20, 21)");
}

TEST_F(RoleNamesTest, WhatIsNeitherAnIdNorANameIsRefusedBeforeTheServiceIsAsked)
{
    EXPECT_EQ(complaintAbout("1,,2"), R"(--roles: item 2, "", is neither the id nor the name of a role)");
    EXPECT_EQ(complaintAbout("1,"), R"(--roles: item 2, "", is neither the id nor the name of a role)");
    EXPECT_EQ(complaintAbout("Auditor,2147483648"), R"(--roles: item 2, "2147483648", does not fit 32 bits)");
    EXPECT_EQ(complaintAbout("-2147483649"), R"(--roles: item 1, "-2147483649", does not fit 32 bits)");
    EXPECT_EQ(complaintAbout("%FF"), R"(--roles: item 1: not UTF-8: "\xFF")");
    EXPECT_THAT(complaintAbout(std::string(257, 'n')),
                StartsWith("--roles: item 1: longer than 256 bytes: "));
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(RoleNamesTest, AServiceThatCannotBeAskedIsAFailureOfACommandWithANameAlone)
{
    server_.playAlways(answer(503, ""));
    EXPECT_THAT(thrownBy<ServiceError>([] { read("Auditor"); }).what(),
                StartsWith("check: asking for the names of roles: "));
    EXPECT_EQ(check({"--roles=17", "|A|"}).results, "allow\t|A|\n");
    const auto result = check({"--roles=Restore operator", "|A|"});
    EXPECT_EQ(result.results, "");
    EXPECT_EQ(result.status, ExitStatus::LibraryFailed);
}

TEST_F(RoleNamesTest, AreTakenByTheCommandsThatDecide)
{
    EXPECT_EQ(check({"--roles=Restore operator", "|A|"}).results, "allow\t|A|\n");
    EXPECT_EQ(check({"--roles=Auditor", "|A|"}).results, "deny\t|A|\n");
    EXPECT_EQ(run({"list", "--cache=main", "--operation=|O|VIEW|", "--roles=Restore operator"}).results,
              "|A|\n");
    EXPECT_EQ(run({"what-can", "--cache=main", "--roles=Restore operator", "|A|"}).results, "|O|VIEW|\n");
}

TEST_F(RoleNamesTest, AreTakenInATableOfDecisions)
{
    writeFile(root_.path("table"), "Restore operator,3\t|O|VIEW|\t|A|\tallow\n"
                                   "Auditor\t|O|VIEW|\t|A|\tallow\n");
    EXPECT_EQ(run({"check", "--cache=main", "--expect", root_.path("table")}).results,
              root_.path("table") + ":2: roles Auditor, |O|VIEW|, |A|: expected allow, decided deny\n");
    EXPECT_THAT(requests(), ElementsAre(ASKED_FOR_NAMES));
    writeFile(root_.path("table"), "Auditr\t|O|VIEW|\t|A|\tallow\n");
    EXPECT_EQ(messageOf({"check", "--cache=main", "--expect", root_.path("table")}, ExitStatus::BadInput),
              root_.path("table") + ":1: the service has no role \"Auditr\"; did you mean Auditor?");
}

TEST_F(RoleNamesTest, AreTakenByTheCommandsForRoles)
{
    server_.playNext(answer(200, R"({"data":[)" + namedRole(17, "Restore operator") + "]}"));
    server_.playNext(answer(200, R"({"data":)" + namedRole(17, "Restore operator") + "}"));
    EXPECT_EQ(run({"role", "get", "Restore operator"}).results, "ID  NAME              SYSTEM  DESCRIPTION\n"
                                                                "17  Restore operator  no\n");
    server_.playNext(answer(200, R"({"data":[)" + namedRole(3, "Auditor") + "]}"));
    server_.playNext(answer(204, ""));
    EXPECT_EQ(run({"role", "delete", "Auditor"}).status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre(ASKED_FOR_NAMES, ASKED_FOR_NAMES + "/17", ASKED_FOR_NAMES,
                                        "DELETE " + SERVICE + "roles/3"));
    EXPECT_EQ(messageOf({"role", "update", "Twin", "--name=n"}, ExitStatus::BadInput),
              "ROLE: \"Twin\" is the name of several roles, give one of the ids 20, 21");
}

TEST_F(RoleNamesTest, AreTakenInGrants)
{
    EXPECT_EQ(run({"simulate", "--cache=main", "--grant=Auditor:|O|VIEW|@|A|"}).results,
              "now-allowed\t|A|\t3\t|O|VIEW|\tOBJECT\tAuditor\n");
    EXPECT_EQ(messageOf({"simulate", "--cache=main", "--revoke=Auditr:|O|VIEW|@|A|"}, ExitStatus::BadInput),
              "--revoke: the service has no role \"Auditr\"; did you mean Auditor?");
    EXPECT_EQ(run({"simulate", "--cache=main", "--grant=A%2Cb%3Ac%4050%25:|O|VIEW|@|A|"}).results,
              "now-allowed\t|A|\t18\t|O|VIEW|\tOBJECT\tA,b:c@50%\n");
    (void)run({"object", "register", "|B|", "--type=VM", "--grant=Auditor:|O|VIEW|"});
    EXPECT_THAT(requests(), Contains(HasSubstr(R"("accessDefinitions":[{"roleId":3,)")));
}

TEST_F(RoleNamesTest, AreTakenInAFileOfObjectsAndLookedUpInOneRequest)
{
    const auto registerBulk = [this](const std::string& first, const std::string& second) {
        writeFile(root_.path("objects"),
                  R"([{"namespace":"|B|","type":"VM","grants":[{"role":)" + first +
                      R"(,"operations":["|O|VIEW|"]},{"role":17,"operations":["|O|VIEW|"]}]},)"
                      R"({"namespace":"|C|","type":"VM","grants":[{"role":)" +
                      second + R"(,"operations":["|O|VIEW|"]}]}])");
        return run({"object", "register", "--bulk", root_.path("objects")});
    };
    (void)registerBulk("\"Auditor\"", "\"A,b:c@50%\"");
    const std::vector<std::string> sent = requests();
    ASSERT_GE(sent.size(), 2U);
    EXPECT_EQ(sent[0], ASKED_FOR_NAMES);
    EXPECT_THAT(sent[1], AllOf(HasSubstr(R"({"roleId":3,)"), HasSubstr(R"({"roleId":17,)"),
                               HasSubstr(R"({"roleId":18,)")));
    EXPECT_EQ(std::count(sent.begin(), sent.end(), ASKED_FOR_NAMES), 1);

    const std::size_t before = requests().size();
    EXPECT_EQ(registerBulk("3", "\"Auditr\"").messages,
              "ksrbac: " + root_.path("objects") +
                  R"(: [1].grants[0].role: the service has no role "Auditr"; did you mean Auditor?)"
                  "\n");
    EXPECT_EQ(requests().size(), before + 1) << "nothing is registered";
    (void)registerBulk("3", "17");
    EXPECT_THAT(requests()[before + 1], Not(ASKED_FOR_NAMES));
}

TEST_F(RoleNamesTest, StandBesideTheIdsWhereTheyAreAskedFor)
{
    EXPECT_EQ(run({"who-can", "--cache=main", "--role-names", "|O|VIEW|", "|A|"}).results,
              "17\tRestore operator\n");
    EXPECT_EQ(run({"cache", "diff", "--contents", "--role-names", "empty", "main"}).results,
              "added\t|A|\n"
              "granted\t|A|\t17\t|O|VIEW|\tOBJECT\tRestore operator\n"
              "granted\t|A|\t-5\t|O|VIEW|\tCHILDREN\n");
    EXPECT_EQ(run({"simulate", "--cache=main", "--json", "--role-names", "--grant=3:|O|VIEW|@|A|"}).results,
              R"({"change":"now-allowed","object":"|A|","role":3,"name":"Auditor","operation":"|O|VIEW|",)"
              R"("propagation":"OBJECT"})"
              "\n");
}

TEST_F(RoleNamesTest, StandInADumpWhereTheyAreAskedFor)
{
    EXPECT_EQ(run({"cache", "dump", "--format=csv", "--role-names", "main"}).results,
              "object,inherit,role,propagation,operation,name\n"
              "|A|,on,17,OBJECT,|O|VIEW|,\"Restore operator\"\n"
              "|A|,on,-5,CHILDREN,|O|VIEW|,\n");
    const std::string document = run({"cache", "dump", "--role-names", "main"}).results;
    EXPECT_THAT(document, HasSubstr(R"({"id":17,"name":"Restore operator"})"));
    EXPECT_THAT(document, HasSubstr(R"({"id":-5,"name":"role -5"})"));
}

TEST_F(RoleNamesTest, StandInAPageBelowThoseOfItsFile)
{
    writeFile(root_.path("names"), "17\tRestorer\n99\tNobody\n");
    const std::string page = run({"report", "--cache=main", "--role-names", "--role-names-from",
                                  root_.path("names"), "--output=-"})
                                 .results;
    EXPECT_THAT(page, HasSubstr(R"("roles":[[3,"Auditor"],[17,"Restorer"],[18,"A,b:c@50%"],)"
                                R"([20,"Twin"],[21,"Twin"],[99,"Nobody"]])"));
    EXPECT_THAT(requests(), ElementsAre(ASKED_FOR_NAMES));
}

TEST_F(RoleNamesTest, StandInAnExplanation)
{
    EXPECT_EQ(check({"--roles=17", "--explain", "--role-names", "|A|"}).results,
              "allow\t|A|\n"
              "  granted: granted on the object itself\n"
              "  |A|  inherits; on it: role 17 (Restore operator)\n");
    EXPECT_THAT(check({"--roles=17", "--explain", "--role-names", "--json", "|A|"}).results,
                HasSubstr(R"(,"roleNames":{"17":"Restore operator"}})"));
    EXPECT_THAT(check({"--roles=17", "--explain", "--json", "|A|"}).results, Not(HasSubstr("roleNames")));
    EXPECT_EQ(messageOf({"check", "--cache=main", "--operation=|O|VIEW|", "--roles=1", "--role-names", "|A|"},
                        ExitStatus::BadInput),
              "check: --role-names is for the roles that --explain prints");
}

TEST_F(RoleNamesTest, ThatCannotBeAskedLeaveTheAnswerAsItIs)
{
    server_.playAlways(answer(503, ""));
    const auto result = run({"who-can", "--cache=main", "--role-names", "|O|VIEW|", "|A|"});
    EXPECT_EQ(result.results, "17\n");
    EXPECT_THAT(result.messages, StartsWith("ksrbac: note: who-can: asking for the names of roles: "));
    EXPECT_EQ(result.status, ExitStatus::Good);
}

} // namespace
} // namespace keepsafe_test
