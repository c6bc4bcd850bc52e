#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MasterServerTest.h"

// `ksrbac role`: what is sent to the service, and what is shown of its answers.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string ROLES = "/keepsafe/access-control/roles";

std::string resource(int id, const std::string& attributes)
{
    const std::string number = std::to_string(id);
    return R"({"type":"accessControlRole","id":")" + number + R"(","links":{"self":{"href":)" +
           R"("/access-control/roles/)" + number + R"("}},"attributes":{)" + attributes + "}}";
}

Play role(int status, int id, const std::string& attributes)
{
    return answer(status, R"({"data":)" + resource(id, attributes) + '}');
}

class RoleCommand : public MasterServerTest {};

TEST_F(RoleCommand, ListPrintsATableOfAllRoles)
{
    server_.playNext(answer(200, R"({"data":[)" + resource(3, R"("name":"Auditor","systemDefined":true)") +
                                     ',' + resource(17, R"("name":"Operator","description":"Restores")") +
                                     "]}"));
    const auto result = run({"role", "list"});
    EXPECT_EQ(result.results, "ID  NAME      SYSTEM  DESCRIPTION\n"
                              " 3  Auditor   yes\n"
                              "17  Operator  no      Restores\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre("GET " + ROLES));
}

TEST_F(RoleCommand, ListPassesTheFilterOn)
{
    server_.playNext(answer(200, R"({"data":[]})"));
    EXPECT_EQ(run({"role", "list", "--filter", "name eq 'a b'"}).results, "ID  NAME  SYSTEM  DESCRIPTION\n");
    EXPECT_THAT(requests(), ElementsAre("GET " + ROLES + "?filter=name%20eq%20%27a%20b%27"));
}

TEST_F(RoleCommand, ListPrintsOneJsonObjectForEachRole)
{
    server_.playNext(answer(200, R"({"data":[)" + resource(3, R"("name":"A\"\u00e9","systemDefined":true)") +
                                     ',' + resource(17, R"("name":"B","description":"b")") + "]}"));
    EXPECT_EQ(run({"role", "list", "--json"}).results,
              "{\"id\":3,\"name\":\"A\\\"\xC3\xA9\",\"description\":\"\",\"systemDefined\":true}\n"
              "{\"id\":17,\"name\":\"B\",\"description\":\"b\",\"systemDefined\":false}\n");
}

TEST_F(RoleCommand, ForeignBytesDoNotReachTheTerminal)
{
    server_.playNext(role(200, 3, R"("name":"a\u001b[2J\nb\u00e9\u202e")"));
    EXPECT_EQ(run({"role", "get", "3"}).results, "ID  NAME                        SYSTEM  DESCRIPTION\n"
                                                 " 3  a\\x1B[2J\\x0Ab\xC3\xA9\\xE2\\x80\\xAE  no\n");
}

TEST_F(RoleCommand, NamesAreShownInTheirOwnScript)
{
    server_.playNext(role(200, 3, R"("name":"Pr\u00fcfer","description":"\u6771\u4eac")"));
    EXPECT_EQ(run({"role", "get", "3"}).results, "ID  NAME    SYSTEM  DESCRIPTION\n"
                                                 " 3  Pr\xC3\xBC"
                                                 "fer  no      \xE6\x9D\xB1\xE4\xBA\xAC\n");
}

TEST_F(RoleCommand, GetAsksForOneRole)
{
    server_.playNext(role(200, 17, R"("name":"Operator")"));
    EXPECT_EQ(run({"role", "get", "17"}).results, "ID  NAME      SYSTEM  DESCRIPTION\n17  Operator  no\n");
    EXPECT_THAT(requests(), ElementsAre("GET " + ROLES + "/17"));
}

TEST_F(RoleCommand, CreateShowsTheNewRole)
{
    server_.playNext(role(201, 18, R"("name":"New","description":"d")"));
    const auto result = run({"role", "create", "New", "--description", "d", "--json"});
    EXPECT_EQ(result.results, "{\"id\":18,\"name\":\"New\",\"description\":\"d\",\"systemDefined\":false}\n");
    EXPECT_THAT(requests(), ElementsAre("POST " + ROLES +
                                        R"( {"data":{"type":"accessControlRole","attributes":)"
                                        R"({"name":"New","description":"d"}}})"));
}

TEST_F(RoleCommand, UpdateReadsTheRoleAndKeepsWhatIsNotGiven)
{
    server_.playNext(role(200, 17, R"("name":"Old","description":"stays")"));
    server_.playNext(answer(204, ""));
    const auto result = run({"role", "update", "17", "--name", "New"});
    EXPECT_EQ(result.results + result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre("GET " + ROLES + "/17",
                                        "PUT " + ROLES +
                                            R"(/17 {"data":{"type":"accessControlRole","attributes":)"
                                            R"({"name":"New","description":"stays"}}})"));
}

TEST_F(RoleCommand, UpdateTakesTheDescriptionAwayWhenItIsGivenEmpty)
{
    for (const auto& empty : {std::vector<std::string>{"--description="}, {"--description", ""}}) {
        server_.playNext(role(200, 17, R"("name":"Old","description":"goes")"));
        server_.playNext(answer(204, ""));
        std::vector<std::string> arguments{"role", "update", "17"};
        arguments.insert(arguments.end(), empty.begin(), empty.end());
        EXPECT_EQ(run(arguments).status, ExitStatus::Good);
        EXPECT_EQ(requests().back(), "PUT " + ROLES +
                                         R"(/17 {"data":{"type":"accessControlRole","attributes":)"
                                         R"({"name":"Old"}}})");
    }
}

TEST_F(RoleCommand, UpdateChangesNothingWithoutALinkToTheRole)
{
    server_.playNext(
        answer(200, R"({"data":{"type":"accessControlRole","id":"17","attributes":{"name":"Old"}}})"));
    EXPECT_EQ(messageOf({"role", "update", "17", "--name", "New"}, ExitStatus::LibraryFailed),
              "role update 17: the service gave no link to the role, so that it cannot be changed");
    EXPECT_THAT(requests(), ElementsAre("GET " + ROLES + "/17"));
}

TEST_F(RoleCommand, DeleteSaysNothing)
{
    server_.playNext(answer(204, ""));
    const auto result = run({"role", "delete", "17"});
    EXPECT_EQ(result.results + result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre("DELETE " + ROLES + "/17"));
}

TEST_F(RoleCommand, BadArgumentsAreToldBeforeAnythingIsSent)
{
    const std::string long65(65, 'n');
    const std::string long257(257, 'n');
    const auto message = [this](const std::vector<std::string>& arguments) {
        return messageOf(arguments, ExitStatus::BadInput);
    };
    const std::string noId = "ROLE: not a role id, which is a number from 0 to 2147483647: ";
    EXPECT_EQ(message({"role", "get", "--", "-1"}), noId + "\"-1\"");
    EXPECT_EQ(message({"role", "get", ""}), "ROLE, \"\", is neither the id nor the name of a role");
    EXPECT_EQ(message({"role", "delete", "2147483648"}), noId + "\"2147483648\"");
    EXPECT_EQ(message({"role", "update", "-0", "--name", "n"}), noId + "\"-0\"");
    EXPECT_EQ(message({"role", "create", ""}), "NAME: a role needs a name");
    EXPECT_EQ(message({"role", "create", long65}).substr(0, 30), "NAME: longer than 64 bytes: \"n");
    EXPECT_EQ(message({"role", "create", "n", "--description", long257}).substr(0, 40),
              "--description: longer than 256 bytes: \"n");
    EXPECT_EQ(message({"role", "create", "\xC3"}), "NAME: not UTF-8: \"\\xC3\"");
    EXPECT_EQ(message({"role", "update", "17"}), "role update: give --name, --description or both");
    EXPECT_EQ(message({"role", "update", "17", "--name", ""}), "--name: a role needs a name");
    EXPECT_EQ(message({"role", "update", "17", "--name", long257}).substr(0, 33),
              "--name: longer than 256 bytes: \"n");
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(RoleCommand, ANameMayBeLongerWhenItIsChangedThanWhenItIsCreated)
{
    server_.playNext(role(200, 17, R"("name":"Old")"));
    server_.playNext(answer(204, ""));
    EXPECT_EQ(run({"role", "update", "17", "--name", std::string(256, 'n')}).status, ExitStatus::Good);
}

} // namespace
} // namespace keepsafe_test
