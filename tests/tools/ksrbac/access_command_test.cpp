#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MasterServerTest.h"

// `ksrbac object`, `ksrbac access` and `ksrbac operation`: what is sent to the service, and what is shown of
// its answers.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const std::string OBJECT = SERVICE + "managed-objects/%7CA%2Bb%7C";

std::string definition(const std::string& id, const std::string& propagation, const std::string& operations)
{
    std::string list;
    for (const char operation : operations) {
        list += (list.empty() ? "" : ",") + std::string(R"({"type":"accessControlOperation","id":"|O|)") +
                operation + R"(|"})";
    }
    return R"({"type":"accessDefinition","id":")" + id + R"(","attributes":{"propagation":")" + propagation +
           R"("},"relationships":{"role":{"data":{"type":"accessControlRole","id":"17"}},"operations":{"data":[)" +
           list + R"(]},"managedObject":{"data":{"type":"managedObject","id":"|A+b|"}}}})";
}

Play roles()
{
    return answer(200,
                  R"({"data":[{"type":"accessControlRole","id":"17","attributes":{"name":"Operator"}}]})");
}

class ObjectCommand : public MasterServerTest {};

TEST_F(ObjectCommand, GetShowsInheritanceAndState)
{
    server_.playAlways(answer(
        200,
        R"({"data":{"type":"managedObject","id":"|A+b|","attributes":{"inherit":true,"state":"PENDING"}}})"));
    EXPECT_EQ(run({"object", "get", "|A%20b|"}).results,
              "OBJECT  INHERIT  STATE\n|A+b|   on       PENDING\n");
    EXPECT_EQ(run({"object", "get", "|A b|", "--json"}).results,
              "{\"object\":\"|A+b|\",\"inherit\":true,\"state\":\"PENDING\"}\n");
    EXPECT_THAT(requests(), ElementsAre("GET " + OBJECT, "GET " + OBJECT));
}

TEST_F(ObjectCommand, SetInheritSaysNothing)
{
    server_.playAlways(answer(204, ""));
    const auto result = run({"object", "set-inherit", "|A+b|", "off"});
    EXPECT_EQ(result.results + result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_EQ(run({"object", "set-inherit", "|A+b|", "on"}).status, ExitStatus::Good);
    EXPECT_THAT(
        requests(),
        ElementsAre(
            "PATCH " + OBJECT + R"( {"data":{"type":"managedObject","attributes":{"inherit":false}}})",
            "PATCH " + OBJECT + R"( {"data":{"type":"managedObject","attributes":{"inherit":true}}})"));
}

TEST_F(ObjectCommand, BadArgumentsAreToldBeforeAnythingIsSent)
{
    EXPECT_EQ(messageOf({"object", "get", "A"}, ExitStatus::BadInput),
              "NS: not a namespace: \"A\": it does not start with '|'");
    EXPECT_EQ(messageOf({"object", "set-inherit", "|A", "on"}, ExitStatus::BadInput),
              "NS: not a namespace: \"|A\": it does not end with '|'");
    EXPECT_EQ(messageOf({"object", "set-inherit", "|A|", "maybe"}, ExitStatus::BadInput),
              "INHERIT: neither on nor off: \"maybe\"");
    EXPECT_THAT(requests(), IsEmpty());
}

class AccessCommand : public MasterServerTest {};

TEST_F(AccessCommand, ListPrintsATable)
{
    server_.playNext(answer(200, R"({"data":[)" + definition("3", "OBJECT", "VW") + ',' +
                                     definition("21", "CHILDREN", "V") + "]}"));
    server_.playNext(roles());
    EXPECT_EQ(run({"access", "list", "|A+b|"}).results, "ID  ROLE  NAME      PROPAGATION  OPERATIONS\n"
                                                        " 3    17  Operator  OBJECT       |O|V|,|O|W|\n"
                                                        "21    17  Operator  CHILDREN     |O|V|\n");
    EXPECT_THAT(requests(), ElementsAre("GET " + OBJECT + "/access-definitions", "GET " + SERVICE + "roles"));
}

TEST_F(AccessCommand, ListWithoutNamesOfRolesIsStillAList)
{
    server_.playNext(answer(200, R"({"data":[)" + definition("3", "OBJECT", "V") + "]}"));
    server_.playNext(answer(503, ""));
    const auto result = run({"access", "list", "|A+b|"});
    EXPECT_EQ(result.results, "ID  ROLE  NAME  PROPAGATION  OPERATIONS\n"
                              " 3    17        OBJECT       |O|V|\n");
    EXPECT_THAT(result.messages, StartsWith("ksrbac: note: access list: asking for the names of roles: "));
    EXPECT_EQ(result.status, ExitStatus::Good);
}

TEST_F(AccessCommand, ListPrintsOneJsonObjectForEachDefinition)
{
    server_.playNext(answer(200, R"({"data":[)" + definition("3", "OBJECT", "VW") + ',' +
                                     definition("4", "CHILDREN", "") + "]}"));
    server_.playNext(roles());
    EXPECT_EQ(run({"access", "list", "|A+b|", "--json"}).results,
              "{\"id\":\"3\",\"object\":\"|A+b|\",\"roleId\":17,\"roleName\":\"Operator\",\"propagation\":"
              "\"OBJECT\","
              "\"operations\":[\"|O|V|\",\"|O|W|\"]}\n"
              "{\"id\":\"4\",\"object\":\"|A+b|\",\"roleId\":17,\"roleName\":\"Operator\",\"propagation\":"
              "\"CHILDREN\","
              "\"operations\":[]}\n");
}

TEST_F(AccessCommand, AddGrantsAndShowsTheDefinition)
{
    server_.playNext(answer(201, R"({"data":)" + definition("5", "OBJECT_AND_CHILDREN", "VW") + '}'));
    server_.playNext(roles());
    const auto result = run({"access", "add", "|A+b|", "--role", "17", "--operations", "|O|V|,|O|W|",
                             "--propagation", "OBJECT_AND_CHILDREN"});
    EXPECT_EQ(result.results, "ID  ROLE  NAME      PROPAGATION          OPERATIONS\n"
                              " 5    17  Operator  OBJECT_AND_CHILDREN  |O|V|,|O|W|\n");
    EXPECT_THAT(requests(),
                ElementsAre("POST " + OBJECT +
                                R"(/access-definitions {"data":{"type":"accessDefinition","attributes":)"
                                R"({"propagation":"OBJECT_AND_CHILDREN"},"relationships":{"role":{"data":)"
                                R"({"id":"17","type":"accessControlRole"}},"operations":{"data":[)"
                                R"({"id":"|O|V|","type":"accessControlOperation"},)"
                                R"({"id":"|O|W|","type":"accessControlOperation"}]}}}})",
                            "GET " + SERVICE + "roles", "GET " + OBJECT + "/access-definitions"));
    EXPECT_EQ(result.messages, "") << "whether there is an equal one could not be told";
}

TEST_F(AccessCommand, AddTakesTheNameOfARoleAndAsksForItOnce)
{
    server_.playNext(roles());
    server_.playNext(answer(201, R"({"data":)" + definition("5", "OBJECT", "V") + '}'));
    EXPECT_EQ(run({"access", "add", "|A|", "--role=Operator", "--operations=|O|V|"}).status,
              ExitStatus::Good);
    ASSERT_THAT(requests(), SizeIs(3));
    EXPECT_THAT(requests()[1], HasSubstr(R"({"role":{"data":{"id":"17",)"));
}

TEST_F(AccessCommand, AddWarnsOfAnEqualDefinition)
{
    const std::string list = R"({"data":[)" + definition("2", "CHILDREN", "VW") + ',' +
                             definition("3", "OBJECT", "WV") + ',' + definition("4", "OBJECT", "V") + ',' +
                             definition("5", "OBJECT", "VW") + "]}";
    server_.playNext(answer(201, R"({"data":)" + definition("5", "OBJECT", "VW") + '}'));
    server_.playNext(roles());
    server_.playNext(answer(200, list));
    const auto result = run({"access", "add", "|A+b|", "--role=17", "--operations=|O|V|,|O|W|"});
    EXPECT_EQ(result.messages, "ksrbac: an equal access definition is there already: 3; --if-absent adds "
                               "none then\n");
    EXPECT_EQ(result.results, "ID  ROLE  NAME      PROPAGATION  OPERATIONS\n"
                              " 5    17  Operator  OBJECT       |O|V|,|O|W|\n");
    EXPECT_EQ(result.status, ExitStatus::Good);
}

TEST_F(AccessCommand, AddDoesNotWarnOfTheDefinitionThatItAdded)
{
    server_.playNext(answer(201, R"({"data":)" + definition("5", "OBJECT", "V") + '}'));
    server_.playNext(roles());
    server_.playNext(answer(200, R"({"data":[)" + definition("5", "OBJECT", "V") + "]}"));
    EXPECT_EQ(run({"access", "add", "|A+b|", "--role=17", "--operations=|O|V|"}).messages, "");
}

TEST_F(AccessCommand, AddIfAbsentPrintsTheEqualDefinitionAndAddsNone)
{
    server_.playNext(answer(200, R"({"data":[)" + definition("3", "OBJECT", "V") + "]}"));
    server_.playNext(roles());
    const auto result = run({"access", "add", "|A+b|", "--role=17", "--operations=|O|V|", "--if-absent"});
    EXPECT_EQ(result.results, "ID  ROLE  NAME      PROPAGATION  OPERATIONS\n"
                              " 3    17  Operator  OBJECT       |O|V|\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre("GET " + OBJECT + "/access-definitions", "GET " + SERVICE + "roles"));
}

TEST_F(AccessCommand, AddIfAbsentWithdrawsItsOwnBehindThatOfAnotherClient)
{
    const std::string definitions = OBJECT + "/access-definitions";
    server_.playNext(answer(200, R"({"data":[]})"));
    server_.playNext(answer(201, R"({"data":)" + definition("6", "OBJECT", "V") + '}'));
    server_.playNext(answer(200, R"({"data":[)" + definition("5", "OBJECT", "V") + ',' +
                                     definition("6", "OBJECT", "V") + "]}"));
    server_.playNext(answer(204, ""));
    server_.playNext(answer(200, R"({"data":[)" + definition("5", "OBJECT", "V") + "]}"));
    server_.playNext(roles());
    const auto result = run({"access", "add", "|A+b|", "--role=17", "--operations=|O|V|", "--if-absent"});
    EXPECT_EQ(result.results, "ID  ROLE  NAME      PROPAGATION  OPERATIONS\n"
                              " 5    17  Operator  OBJECT       |O|V|\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_THAT(requests(), ElementsAre("GET " + definitions, testing::StartsWith("POST " + definitions),
                                        "GET " + definitions, "DELETE " + definitions + "/6",
                                        "GET " + definitions, "GET " + SERVICE + "roles"));
}

TEST_F(AccessCommand, AddIfAbsentNeedsToKnowWhatThereIs)
{
    server_.playAlways(answer(404, R"({"errorCode":20,"errorMessage":"there is no object |A|"})"));
    EXPECT_THAT(messageOf({"access", "add", "|A|", "--role=17", "--operations=|O|V|", "--if-absent"},
                          ExitStatus::LibraryFailed),
                testing::HasSubstr("there is no object |A|"));
    EXPECT_EQ(requests().size(), 1U);
}

TEST_F(AccessCommand, AddGrantsOnTheObjectAloneUnlessToldOtherwise)
{
    server_.playNext(answer(201, R"({"data":)" + definition("5", "OBJECT", "V") + '}'));
    EXPECT_EQ(run({"access", "add", "|A|", "--role=17", "--operations=|O|V|"}).status, ExitStatus::Good);
    EXPECT_THAT(requests().front(), HasSubstr(R"("propagation":"OBJECT"})"));
}

TEST_F(AccessCommand, ACommaInANameOfAnOperationIsWrittenEscaped)
{
    server_.playNext(answer(201, R"({"data":)" + definition("5", "OBJECT", "V") + '}'));
    EXPECT_EQ(run({"access", "add", "|A|", "--role=17", "--operations=|O|a%2Cb|"}).status, ExitStatus::Good);
    EXPECT_THAT(requests().front(), HasSubstr(R"("data":[{"id":"|O|a%2Cb|",)"));
}

TEST_F(AccessCommand, DeleteSaysNothing)
{
    server_.playNext(answer(204, ""));
    const auto result = run({"access", "delete", "|A+b|", "21"});
    EXPECT_EQ(result.results + result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), ElementsAre("DELETE " + OBJECT + "/access-definitions/21"));
}

TEST_F(AccessCommand, AnIdCannotLeadToAnotherResource)
{
    for (const char* id : {"", ".", "..", "../../roles/1", "1/2", "1?x", "1#x", "%2E", "a b"}) {
        EXPECT_EQ(messageOf({"access", "delete", "|A|", id}, ExitStatus::BadInput),
                  std::string("ID: not an id: \"") + id + '"');
    }
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(AccessCommand, BadArgumentsAreToldBeforeAnythingIsSent)
{
    const auto add = [this](const std::string& role, const std::string& operations,
                            const std::string& propagation) {
        return messageOf({"access", "add", "|A|", "--role", role, "--operations", operations, "--propagation",
                          propagation},
                         ExitStatus::BadInput);
    };
    EXPECT_EQ(add("2147483648", "|O|V|", "OBJECT"),
              "--role: not a role id, which is a number from 0 to 2147483647: \"2147483648\"");
    EXPECT_EQ(add("17", "|O|V|,", "OBJECT"),
              "--operations: not a namespace: \"\": it does not start with '|'");
    EXPECT_EQ(add("17", "VIEW", "OBJECT"),
              "--operations: not a namespace: \"VIEW\": it does not start with '|'");
    EXPECT_EQ(add("17", "|O|V|", "object"),
              "--propagation: none of OBJECT, CHILDREN and OBJECT_AND_CHILDREN: \"object\"");
    EXPECT_EQ(messageOf({"access", "list", "A"}, ExitStatus::BadInput),
              "NS: not a namespace: \"A\": it does not start with '|'");
    EXPECT_THAT(requests(), IsEmpty());
}

class OperationCommand : public MasterServerTest {};

TEST_F(OperationCommand, ListsWhatTheServiceKnows)
{
    server_.playAlways(answer(200, R"({"data":[{"type":"accessControlOperation","id":"|O|W|"},)"
                                   R"({"type":"accessControlOperation","id":"|O|V|"}]})"));
    EXPECT_EQ(run({"operation", "list"}).results, "OPERATION\n|O|W|\n|O|V|\n");
    EXPECT_EQ(run({"operation", "list", "--json", "--filter", "startswith(id,'|O')"}).results,
              "{\"operation\":\"|O|W|\"}\n{\"operation\":\"|O|V|\"}\n");
    EXPECT_THAT(requests(),
                ElementsAre("GET " + SERVICE + "operations",
                            "GET " + SERVICE + "operations?filter=startswith%28id%2C%27%7CO%27%29"));
}

} // namespace
} // namespace keepsafe_test
