// The resource `changes`, on a journal that the service really keeps, without a network.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "resources/Router.h"
#include "service/accesscontrol/AccessControlTest.h"
#include "json/json_text.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::JsonHandle;
using keepsafe_service::Router;
using keepsafe_service::ServiceResponse;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string SERVICE_ROOT = "/keepsafe/access-control/";
const std::string GRANT =
    R"({"data":{"type":"accessDefinition","attributes":{"propagation":"OBJECT"},"relationships":{)"
    R"("role":{"data":{"id":"7","type":"accessControlRole"}},)"
    R"("operations":{"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]}}}})";

class ChangeResource : public AccessControlTest {
protected:
    ServiceResponse ask(const std::string& method, const std::string& path, const std::string& body = "",
                        const std::string& client = "CN=tester") const
    {
        return router_.answer({method, SERVICE_ROOT + path, "application/json", body, client});
    }

    JsonHandle document(const std::string& path) const
    {
        const ServiceResponse response = ask("GET", path);
        EXPECT_EQ(response.status, 200) << response.body;
        return JsonHandle(json_loads(response.body.c_str(), 0, nullptr));
    }

    static std::string textAt(const json_t* value, const char* name)
    {
        const char* const text = json_string_value(json_object_get(value, name));
        return text == nullptr ? "" : text;
    }

    /// "id what" of each change of a page.
    static std::vector<std::string> changesOf(const json_t* document)
    {
        std::vector<std::string> texts;
        const json_t* const data = json_object_get(document, "data");
        for (std::size_t i = 0; i < json_array_size(data); ++i) {
            const json_t* const change = json_array_get(data, i);
            texts.push_back(textAt(change, "id") + ' ' +
                            textAt(json_object_get(change, "attributes"), "what"));
        }
        return texts;
    }
    std::vector<std::string> changes(const std::string& query) const
    {
        return changesOf(document("changes" + query).get());
    }

    static std::string nextOf(const json_t* document)
    {
        return textAt(json_object_get(json_object_get(document, "links"), "next"), "href");
    }

    std::string refused(const std::string& query) const
    {
        const ServiceResponse response = ask("GET", "changes" + query);
        EXPECT_EQ(response.status, 400) << query;
        return response.body;
    }

    Router router_{*service_};
};

std::string sqlite(const testing::TestParamInfo<DatabaseKind>& /*tested*/) { return "SQLite"; }
INSTANTIATE_TEST_SUITE_P(Database, ChangeResource, testing::Values(DatabaseKind::Sqlite), sqlite);

TEST_P(ChangeResource, ShowsAChangeWithBeforeAndAfter)
{
    addObjects("|A|");
    ASSERT_EQ(ask("POST", "managed-objects/%7CA%7C/access-definitions", GRANT).status, 201);
    const JsonHandle found = document("changes?since=4");
    const json_t* const change = json_array_get(json_object_get(found.get(), "data"), 0);
    json_t* const attributes = json_object_get(change, "attributes");
    EXPECT_EQ(textAt(attributes, "time"), journal().back().time);
    json_object_del(attributes, "time");
    EXPECT_EQ(
        keepsafe_service::jsonText(found.get(), JSON_COMPACT),
        R"({"data":[{"attributes":{"after":{"id":"1","object":"|A|","operations":["|OPERATIONS|VIEW|"],)"
        R"("propagation":"OBJECT","roleId":7},"before":null,"object":"|A|","revision":5,"roleId":7,)"
        R"("what":"accessDefinitionAdded","who":"CN=tester"},"id":"5-1","type":"change"}],)"
        R"("meta":{"lastRevision":5}})");
}

TEST_P(ChangeResource, NamesTheClientOfEveryKindOfChange)
{
    const std::string role = R"({"data":{"type":"accessControlRole","attributes":{"name":")";
    const std::string end = "\"}}}";
    const auto record = [](const std::string& object) {
        return R"({"id":")" + object +
               R"(","type":"objectRegistrationData","attributes":{"objectType":"vm",)"
               R"("ignoreAlreadyRegistered":false,"accessControlAttributes":null,"relativeChildNamespaces":[]}})";
    };
    const std::vector<std::vector<std::string>> requests = {
        {"POST", "roles", role + "new" + end},
        {"PUT", "roles/8", role + "other" + end},
        {"DELETE", "roles/8", ""},
        {"POST", "object-registration-requests", "{\"data\":" + record("|A|") + "}"},
        {"POST", "bulk-object-registration-requests", "{\"data\":[" + record("|B|") + "]}"},
        {"POST", "bulk-object-update-requests",
         R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)"
         R"({"objectId":"|A|","state":"READY"}]}}})"},
        {"PATCH", "managed-objects/%7CA%7C",
         R"({"data":{"type":"managedObject","attributes":{"inherit":false}}})"},
        {"POST", "managed-objects/%7CA%7C/access-definitions", GRANT},
        {"DELETE", "managed-objects/%7CA%7C/access-definitions/1", ""}};
    for (const auto& request : requests) {
        const ServiceResponse response =
            ask(request[0], request[1], request[2], "CN=" + request[0] + request[1]);
        EXPECT_LT(response.status, 300) << request[1] << ' ' << response.body;
        EXPECT_EQ(journal().back().who, "CN=" + request[0] + request[1]);
    }
    EXPECT_EQ(journal().back().at.revision, 2 + static_cast<std::int64_t>(requests.size()));
}

TEST_P(ChangeResource, TellsTheLastRevisionOfTheJournalWhateverIsAskedFor)
{
    addObjects("|A| |C|"); // revisions 3 to 6
    for (const char* query : {"", "?limit=1", "?since=6", "?object=%7CB%7C", "?since=999999999999999999"}) {
        const JsonHandle found = document(std::string("changes") + query);
        EXPECT_EQ(json_integer_value(json_object_get(json_object_get(found.get(), "meta"), "lastRevision")),
                  6)
            << query;
    }
}

TEST_P(ChangeResource, IsReadInPagesByItsLinks)
{
    addObjects("|A| |A|B| |C|"); // revisions 3 to 8
    const JsonHandle first = document("changes?limit=2&object=%7CA%7C&since=2");
    EXPECT_THAT(changesOf(first.get()), ElementsAre("3-1 objectRegistered", "4-1 objectReady"));
    EXPECT_EQ(nextOf(first.get()), "/access-control/changes?after=4-1&limit=2&object=%7CA%7C&since=2");
    const JsonHandle second = document(nextOf(first.get()).substr(sizeof "/access-control/" - 1));
    EXPECT_THAT(changesOf(second.get()), ElementsAre("5-1 objectRegistered", "6-1 objectReady"));
    EXPECT_EQ(nextOf(second.get()), "") << "no empty page follows";
    EXPECT_EQ(json_object_get(second.get(), "links"), nullptr);
    EXPECT_THAT(changes("?after=6-1&object=%7CA%7C"), IsEmpty());
}

TEST_P(ChangeResource, BeginsBehindTheLaterOfRevisionAndCursor)
{
    addObjects("|A| |B|"); // revisions 3 to 6
    EXPECT_THAT(changes("?since=5"), ElementsAre("6-1 objectReady"));
    EXPECT_THAT(changes("?since=5&after=3-1"), ElementsAre("6-1 objectReady"));
    EXPECT_THAT(changes("?since=3&after=5-1"), ElementsAre("6-1 objectReady"));
    EXPECT_THAT(changes("?since=5&after=5-1"), ElementsAre("6-1 objectReady"));
    EXPECT_THAT(changes("?since=999999999999999999"), IsEmpty());
}

TEST_P(ChangeResource, IsFilteredByTimeAndRole)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    EXPECT_THAT(changes("?role=7&since=2"), ElementsAre("5-1 accessDefinitionAdded"));
    EXPECT_THAT(changes("?role=9"), IsEmpty());
    EXPECT_THAT(changes("?since=2000-01-01T00:00:00Z&limit=1"), ElementsAre("1-1 journalBegun"));
    EXPECT_THAT(changes("?since=2000-01-01T00:00:00%2B01:00&limit=1"), ElementsAre("1-1 journalBegun"));
    EXPECT_THAT(changes("?since=9000-01-01T00:00:00Z"), IsEmpty());
}

TEST_P(ChangeResource, RefusesWhatItDoesNotUnderstand)
{
    EXPECT_EQ(
        refused("?since=yesterday"),
        R"({"errorCode":20,"errorMessage":"the query parameter \"since\": \"yesterday\" is not a revision )"
        R"(or a time as 2026-01-31T23:59:59Z, in which a plus sign is %2B"})");
    EXPECT_THAT(refused("?since="), HasSubstr("is not a revision"));
    EXPECT_THAT(refused("?since=-1"), HasSubstr("is not a revision"));
    EXPECT_THAT(refused("?since=1000000000000000000"), HasSubstr("is not a revision"));
    EXPECT_THAT(refused("?limit=0"), HasSubstr(R"(\"0\" is not a number from 1 to 1000)"));
    EXPECT_THAT(refused("?limit=1001"), HasSubstr("is not a number from 1 to 1000"));
    EXPECT_THAT(refused("?object=A"), HasSubstr("is not a namespace"));
    EXPECT_THAT(refused("?role=-1"), HasSubstr("is not the decimal text"));
    for (const char* cursor : {"", "1", "1-", "-1", "1-x", "1-2147483648", "1-1-1"}) {
        EXPECT_THAT(refused(std::string("?after=") + cursor), HasSubstr("is not the id of a change"))
            << cursor;
    }
    EXPECT_THAT(refused("?page=2"), HasSubstr(R"(the query parameter \"page\" is not known)"));
    EXPECT_THAT(refused("?limit=1&limit=1"), HasSubstr(R"(\"limit\" is given twice)"));
    EXPECT_EQ(ask("POST", "changes", "{}").status, 405);
}

TEST_P(ChangeResource, SaysThatTheDatabaseFailed)
{
    private_.run("DROP TABLE AUTH_MAIN.ACTL_Change");
    const ServiceResponse reading = ask("GET", "changes");
    EXPECT_EQ(reading.status, 500);
    EXPECT_THAT(reading.body,
                HasSubstr(R"({"errorCode":220,"errorMessage":"cannot read the journal of changes)"));
    const ServiceResponse change =
        ask("POST", "roles", R"({"data":{"type":"accessControlRole","attributes":{"name":"new"}}})");
    EXPECT_EQ(change.status, 500);
    EXPECT_THAT(change.body, HasSubstr(R"({"errorCode":220,)"));
    EXPECT_EQ(service_->roles().size(), 2U) << "nothing was changed";
}

} // namespace
} // namespace keepsafe_test
