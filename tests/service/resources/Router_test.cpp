// Every resource, on what the service really keeps, without a network.

#include "resources/Router.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/accesscontrol/AccessControlTest.h"
#include "json/json_text.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::JsonHandle;
using keepsafe_service::Router;
using keepsafe_service::ServiceRequest;
using keepsafe_service::ServiceResponse;
using testing::HasSubstr;
using testing::StartsWith;

const std::string ROOT = "/keepsafe/access-control/";
const std::string ROLE_BODY =
    R"({"data":{"type":"accessControlRole","attributes":{"name":"Auditor","description":"reads"}}})";
const std::string INHERIT_BODY = R"({"data":{"type":"managedObject","attributes":{"inherit":false}}})";
const std::string GRANT_BODY =
    R"({"data":{"type":"accessDefinition","attributes":{"propagation":"OBJECT"},"relationships":{)"
    R"("role":{"data":{"id":"7","type":"accessControlRole"}},)"
    R"("operations":{"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]}}}})";

std::string record(const std::string& object, const std::string& attributes = "null")
{
    return R"({"id":")" + object +
           R"(","type":"objectRegistrationData","attributes":{"objectType":"vm",)"
           R"("ignoreAlreadyRegistered":false,"accessControlAttributes":)" +
           attributes + R"(,"relativeChildNamespaces":["|disk|"]}})";
}

std::string states(const std::string& object, const std::string& state)
{
    return R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)"
           R"({"objectId":")" +
           object + R"(","state":")" + state + R"("}]}}})";
}

class Resources : public AccessControlTest {
protected:
    /// Status and body.
    std::string ask(const std::string& method, const std::string& path, const std::string& body = "",
                    const std::string& contentType = "application/json")
    {
        const ServiceResponse response = router_.answer({method, ROOT + path, contentType, body});
        return std::to_string(response.status) + (response.body.empty() ? "" : " " + response.body);
    }

    static std::string error(const char* status, const char* code, const std::string& message)
    {
        return std::string(status) + R"( {"errorCode":)" + code + R"(,"errorMessage":")" + message + "\"}";
    }

    Router router_{*service_};
};

std::string kindName(const testing::TestParamInfo<DatabaseKind>& /*tested*/) { return "SQLite"; }
INSTANTIATE_TEST_SUITE_P(Database, Resources, testing::Values(DatabaseKind::Sqlite), kindName);

TEST_P(Resources, AccessCacheIsTheOneForEveryName)
{
    for (const char* name : {"%7C", "%7CKEEPSAFE%7C", "%7Ca%2Fb%7C%7C"}) {
        EXPECT_EQ(ask("GET", std::string("access-caches/") + name),
                  R"(200 {"data":{"id":"service","type":"accessCache"}})");
    }
    EXPECT_EQ(ask("GET", "access-caches/KEEPSAFE"),
              error("400", "7610", R"(\"KEEPSAFE\" in the request's target is not a namespace)"));
}

TEST_P(Resources, RolesAreCreatedReadChangedAndDeleted)
{
    EXPECT_EQ(ask("POST", "roles", ROLE_BODY),
              R"(201 {"data":{"attributes":{"description":"reads","name":"Auditor","systemDefined":false},)"
              R"("id":"8","links":{"self":{"href":"/access-control/roles/8"}},"type":"accessControlRole"}})");
    EXPECT_EQ(
        ask("PUT", "roles/8", R"({"data":{"type":"accessControlRole","attributes":{"name":"Reader"}}})"),
        "204");
    EXPECT_THAT(ask("GET", "roles/8"), HasSubstr(R"({"description":"","name":"Reader",)"));
    EXPECT_EQ(ask("DELETE", "roles/8"), "204");
    EXPECT_EQ(ask("GET", "roles/8"), error("404", "20", "there is no role 8"));
}

TEST_P(Resources, RolesAreFilteredByEachField)
{
    const auto idsOf = [this](const std::string& filter) {
        const std::string response = ask("GET", "roles?filter=" + filter);
        const JsonHandle document(json_loads(response.substr(4).c_str(), 0, nullptr));
        const json_t* data = json_object_get(document.get(), "data");
        std::string ids;
        for (std::size_t i = 0; i < json_array_size(data); ++i) {
            ids += std::string(" ") + json_string_value(json_object_get(json_array_get(data, i), "id"));
        }
        return ids;
    };
    (void)ask("POST", "roles", ROLE_BODY);
    EXPECT_EQ(idsOf("name%20eq%20%27operator%27"), " 7");
    EXPECT_EQ(idsOf("description%20eq%20%27reads%27"), " 8");
    EXPECT_EQ(idsOf("startswith(id,%278%27)"), " 8");
    EXPECT_EQ(idsOf("contains(name,%27o%27)%20and%20contains(name,%27Au%27)"), " 8");
    EXPECT_EQ(idsOf("name%20eq%20%27none%27"), "");
}

TEST_P(Resources, OperationsAreListedAndFilteredByTheirLastComponent)
{
    EXPECT_EQ(ask("GET", "operations?filter=name%20eq%20%27VIEW%27"),
              R"(200 {"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]})");
    EXPECT_THAT(ask("GET", "operations"), HasSubstr("|OPERATIONS|RESTORE|"));
    EXPECT_EQ(ask("GET", "operations?filter=startswith(id,%27%7CX%27)"), R"(200 {"data":[]})");
}

TEST_P(Resources, ObjectsAreReadAndToldWhetherTheyInherit)
{
    addObjects("|A|");
    EXPECT_EQ(ask("PATCH", "managed-objects/%7CA%7C", INHERIT_BODY), "204");
    EXPECT_EQ(
        ask("GET", "managed-objects/%7CA%7C"),
        R"(200 {"data":{"attributes":{"inherit":false,"objectType":"","state":"READY"},"id":"|A|",)"
        R"("links":{"self":{"href":"/access-control/managed-objects/%7CA%7C"}},"type":"managedObject"}})");
    EXPECT_EQ(ask("GET", "managed-objects/%7CB%7C"), error("404", "20", "there is no object |B|"));
}

TEST_P(Resources, ASlashBelongsToItsNamespace)
{
    addObjects("|a%2Fb|");
    EXPECT_THAT(ask("GET", "managed-objects/%7Ca%252Fb%7C"), StartsWith("200 "));
    EXPECT_THAT(ask("GET", "managed-objects/%7Ca%2Fb%7C"), StartsWith("200 ")) << "the slash unescaped";
    EXPECT_THAT(ask("GET", "managed-objects/%7Ca/b%7C"), StartsWith("404 "));
}

TEST_P(Resources, AccessDefinitionsAreInForceWhenTheResponseIsThere)
{
    addObjects("|A|");
    EXPECT_EQ(ask("POST", "managed-objects/%7CA%7C/access-definitions", GRANT_BODY),
              R"(201 {"data":{"attributes":{"propagation":"OBJECT"},"id":"1",)"
              R"("links":{"self":{"href":"/access-control/managed-objects/%7CA%7C/access-definitions/1"}},)"
              R"("relationships":{"managedObject":{"data":{"id":"|A|","type":"managedObject"}},)"
              R"("operations":{"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]},)"
              R"("role":{"data":{"id":"7","type":"accessControlRole"}}},"type":"accessDefinition"}})");
    EXPECT_TRUE(isAllowed("|A|", VIEW));
    EXPECT_THAT(ask("GET", "managed-objects/%7CA%7C/access-definitions"), HasSubstr(R"("id":"1")"));
    EXPECT_EQ(ask("DELETE", "managed-objects/%7CA%7C/access-definitions/1"), "204");
    EXPECT_FALSE(isAllowed("|A|", VIEW));
    EXPECT_EQ(ask("DELETE", "managed-objects/%7CA%7C/access-definitions/1"),
              error("404", "20", R"(object |A| has no access definition \"1\")"));
}

TEST_P(Resources, RegistrationMakesPendingAndTheStateUpdateReady)
{
    EXPECT_EQ(
        ask("POST", "object-registration-requests",
            "{\"data\":" +
                record("|A|", R"({"accessDefinitions":[{"roleId":7,"operations":["|OPERATIONS|VIEW|"]}]})") +
                "}"),
        R"(201 {"id":"|A|","relationships":{"registeredObjects":{"data":[)"
        R"({"id":"|A|","type":"managedObject"},{"id":"|A|disk|","type":"managedObject"}]}},)"
        R"("type":"objectRegistrationResponse"})");
    EXPECT_EQ(stateOf("|A|"), "PENDING");
    EXPECT_FALSE(isAllowed("|A|", VIEW));

    EXPECT_EQ(ask("POST", "bulk-object-update-requests", states("|A|", "READY")),
              R"(201 {"data":{"type":"managedObjectUpdate"}})");
    EXPECT_EQ(stateOf("|A|disk|"), "READY");
    EXPECT_TRUE(isAllowed("|A|disk|", VIEW)) << "object and children";

    EXPECT_THAT(ask("POST", "bulk-object-update-requests", states("|A|", "DELETED")), StartsWith("201 "));
    EXPECT_EQ(stateOf("|A|"), "none");
}

TEST_P(Resources, BulkRegistrationIsAllOrNothing)
{
    const auto registerBoth = [this](const std::string& first, const std::string& second) {
        return ask("POST", "bulk-object-registration-requests",
                   "{\"data\":[" + record(first) + "," + record(second) + "]}");
    };
    EXPECT_THAT(registerBoth("|A|", "|B|"), StartsWith(R"(201 {"data":[{"id":"|A|",)"));
    EXPECT_EQ(registerBoth("|C|", "|B|"),
              R"(409 {"errorCode":20,"errorDetails":["object |B| is registered already",)"
              R"("object |B|disk| is registered already"],"errorMessage":"objects are registered already"})");
    EXPECT_EQ(stateOf("|C|"), "none");
}

TEST_P(Resources, RefusalsTellWhatIsWrongInTheirDetails)
{
    addObjects("|A|");
    (void)ask("POST", "roles", ROLE_BODY);
    EXPECT_EQ(ask("POST", "roles", ROLE_BODY),
              error("409", "20", R"(the name \"Auditor\" is that of role 8)"));
    EXPECT_THAT(ask("DELETE", "roles/0"), StartsWith("409 "));
    EXPECT_THAT(ask("POST", "roles", R"({"data":{"type":"accessControlRole","attributes":{"name":""}}})"),
                testing::AllOf(StartsWith(R"(400 {"errorCode":20,)"), HasSubstr("the role's name is empty")));
    std::string foreign = GRANT_BODY;
    foreign.replace(foreign.find("\"7\""), 3, "\"99\"");
    EXPECT_THAT(ask("POST", "managed-objects/%7CA%7C/access-definitions", foreign),
                testing::AllOf(StartsWith(R"(400 {"errorCode":20,)"), HasSubstr("there is no role 99")));
}

TEST_P(Resources, DocumentsOfAnotherTypeOrFormChangeNothing)
{
    addObjects("|A|");
    const auto before = everything({ns("|A|")});
    EXPECT_THAT(ask("POST", "roles", INHERIT_BODY), StartsWith(R"(400 {"errorCode":9103,)"));
    EXPECT_THAT(ask("PATCH", "managed-objects/%7CA%7C", ROLE_BODY), StartsWith(R"(400 {"errorCode":9103,)"));
    EXPECT_THAT(ask("POST", "roles", ""), StartsWith(R"(400 {"errorCode":7610,)"));
    EXPECT_THAT(ask("POST", "roles", "{}"), StartsWith(R"(400 {"errorCode":7610,)"));
    EXPECT_THAT(ask("POST", "bulk-object-update-requests", states("|A|", "GONE")),
                StartsWith(R"(400 {"errorCode":20,)"));
    EXPECT_EQ(ask("POST", "roles", ROLE_BODY, "text/plain"),
              error("415", "20", R"(the body's media type \"text/plain\" is not application/json)"));
    EXPECT_EQ(everything({ns("|A|")}), before);
}

TEST_P(Resources, TakeTheMediaTypeOfEveryVersion)
{
    EXPECT_THAT(ask("POST", "roles", ROLE_BODY, "application/vnd.keepsafe+json;version=9"),
                StartsWith("201 "));
    EXPECT_THAT(ask("GET", "roles", "", "text/plain"), StartsWith("200 ")) << "without a body";
}

TEST_P(Resources, ThatDoNotExistAreUnknown)
{
    for (const char* path :
         {"", "role", "roles/", "roles/7/x", "managed-objects", "managed-objects/%7C/x", "access-caches/",
          "operations/1", "roles%2F7", "bulk-object-update-requests/1"}) {
        EXPECT_EQ(ask("GET", path), error("404", "20", R"(there is no resource \")" + ROOT + path + R"(\")"))
            << path;
    }
}

TEST_P(Resources, TellTheMethodsThatTheyKnow)
{
    const ServiceResponse response = router_.answer({"OPTIONS", ROOT + "roles/7", "", ""});
    EXPECT_EQ(response.status, 405);
    EXPECT_EQ(response.allowedMethods, "GET, PUT, DELETE");
    EXPECT_EQ(ask("DELETE", "operations"),
              error("405", "20", R"(the resource does not know the method \"DELETE\", only GET)"));
}

TEST_P(Resources, RefuseIdsAndEscapesThatAreNone)
{
    EXPECT_EQ(ask("GET", "roles/7a"),
              error("400", "20",
                    R"(the role's id: \"7a\" is not the decimal text of a number from 0 to 2147483647)"));
    EXPECT_THAT(ask("DELETE", "managed-objects/%7CA%7C/access-definitions/x"),
                StartsWith(R"(400 {"errorCode":20,"errorMessage":"the access definition's id: )"));
    EXPECT_THAT(ask("GET", "roles/%zz"), StartsWith(R"(400 {"errorCode":7610,)"));
    EXPECT_THAT(ask("GET", "roles/%00"), StartsWith(R"(400 {"errorCode":20,)"));
    EXPECT_EQ(ask("GET", std::string("a\0\xFF", 3)),
              error("404", "20", R"(there is no resource \")" + ROOT + R"(a%00%FF\")"));
    EXPECT_THAT(ask("GET", "roles/" + std::string(8000, '9')), StartsWith(R"(400 {"errorCode":20,)"));
}

TEST_P(Resources, RefuseQueriesThatTheyDoNotKnow)
{
    EXPECT_EQ(ask("GET", "roles?filter=name"), error("400", "7610", "filter: position 5: expected 'eq'"));
    EXPECT_EQ(ask("GET", "roles?filter="),
              error("400", "7610", "filter: position 1: expected a field or a function"));
    EXPECT_EQ(ask("GET", "operations?filter=description%20eq%20%27%27"),
              error("400", "20", R"(filter: the field \"description\" is not known; known are id, name)"));
    EXPECT_EQ(ask("GET", "roles?page=2"), error("400", "20", R"(the query parameter \"page\" is not known)"));
    EXPECT_EQ(ask("GET", "roles/7?filter=a"),
              error("400", "20", R"(the resource takes no query, but \"filter=a\" is given)"));
}

TEST_P(Resources, TakeMoreOfABulkThanOfOne)
{
    const std::string spaces(keepsafe_service::MOST_BODY_BYTES + 1, ' ');
    EXPECT_EQ(ask("POST", "roles", spaces), error("413", "20", "the request's body is too long"));
    EXPECT_THAT(ask("POST", "bulk-object-registration-requests", spaces),
                StartsWith(R"(400 {"errorCode":7610,)"));
    EXPECT_EQ(Router::mostBodyBytes(ROOT + "bulk-object-update-requests"),
              keepsafe_service::MOST_BULK_BODY_BYTES);
}

TEST_P(Resources, TakeTenThousandObjectsAtOnce)
{
    std::string body = R"({"data":[)";
    for (int i = 0; i < 10000; ++i) {
        body += (i == 0 ? "" : ",") + record("|KEEPSAFE|ASSETS|vm-" + std::to_string(i) + "|");
    }
    EXPECT_THAT(ask("POST", "bulk-object-registration-requests", body + "]}"), StartsWith("201 "));
    EXPECT_EQ(stateOf("|KEEPSAFE|ASSETS|vm-9999|disk|"), "PENDING");
}

TEST_P(Resources, ThatFailAre500WithTheReasonAndALogLine)
{
    database_.change("drop", "DROP TABLE AUTH_MAIN.ACTL_Role");
    log_.clear();
    const std::string response = ask("POST", "roles", ROLE_BODY);
    EXPECT_THAT(response, StartsWith(R"(500 {"errorCode":220,"errorMessage":"cannot )"));
    EXPECT_THAT(log_.lines(16),
                testing::Contains(LogLine{16, "Router::answer",
                                          "POST \"/keepsafe/access-control/roles\"; http status 500; " +
                                              response.substr(4)}));
}

TEST_P(Resources, LogEachRequestWithoutItsBody)
{
    log_.clear();
    (void)ask("POST", "roles", ROLE_BODY);
    EXPECT_EQ(log_.lines().back(),
              (LogLine{4, "Router::answer", "POST \"/keepsafe/access-control/roles\"; http status 201"}));
    for (const LogLine& line : log_.lines()) {
        EXPECT_EQ(line.text.find("Auditor"), std::string::npos) << line;
    }
}

} // namespace
} // namespace keepsafe_test
