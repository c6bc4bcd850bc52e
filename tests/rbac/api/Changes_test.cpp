#include <keepsafe/rbac/api/Changes.h>

#include "ScriptedService.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Change;
using Tessara::Keepsafe::Rbac::ChangeAPI;
using Tessara::Keepsafe::Rbac::ChangePage;
using Tessara::Keepsafe::Rbac::ChangeQuery;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;
using testing::IsEmpty;

class ChangeApiTest : public ApiTest<ChangeAPI> {};

const std::string ADDED =
    R"({"type":"change","id":"5-1","attributes":{"revision":5000000000,"time":"2026-01-31T23:59:59.000001Z",)"
    R"("who":"CN=a","what":"accessDefinitionAdded","object":"|A|B|","roleId":7,"before":null,)"
    R"("after":{"id":"1","operations":["|O|V|"]}}})";
const std::string CREATED =
    R"({"type":"change","id":"6-1","attributes":{"revision":6,"time":"t","who":"local root","what":"new kind",)"
    R"("object":null,"roleId":null,"before":{"id":1},"after":null}})";

TEST_F(ChangeApiTest, ReadsWhatHasHappened)
{
    respond(200, R"({"data":[)" + ADDED + ',' + CREATED + "]}");
    const ChangePage page = api().get_changes({});
    ASSERT_EQ(page.changes.size(), 2U);
    const Change& added = page.changes.front();
    EXPECT_EQ(added.id, "5-1");
    EXPECT_EQ(added.revision, 5'000'000'000);
    EXPECT_EQ(added.time, "2026-01-31T23:59:59.000001Z");
    EXPECT_EQ(added.who, "CN=a");
    EXPECT_EQ(added.what, "accessDefinitionAdded");
    EXPECT_EQ(added.object, ObjectNamespace("A", "B"));
    EXPECT_EQ(added.roleId, 7);
    EXPECT_EQ(added.before, "null");
    EXPECT_EQ(added.after, R"({"id":"1","operations":["|O|V|"]})");
    const Change& created = page.changes.back();
    EXPECT_EQ(created.what, "new kind");
    EXPECT_EQ(created.object, std::nullopt);
    EXPECT_EQ(created.roleId, std::nullopt);
    EXPECT_EQ(created.before, R"({"id":1})");
    EXPECT_EQ(page.next, "");
    EXPECT_THAT(service_->requests, ElementsAre(Request{"GET", "keepsafe/access-control/changes", ""}));
}

TEST_F(ChangeApiTest, ReadsTheLastRevisionWhereItIsTold)
{
    respond(200, R"({"data":[],"meta":{"lastRevision":5000000001}})");
    EXPECT_EQ(api().get_changes({}).lastRevision, 5'000'000'001);
    for (const char* without :
         {R"({"data":[]})", R"({"data":[],"meta":[]})", R"({"data":[],"meta":{"lastRevision":"7"}})"}) {
        respond(200, without);
        EXPECT_EQ(api().get_changes({}).lastRevision, 0) << without;
    }
}

TEST_F(ChangeApiTest, SendsTheConditionsEncoded)
{
    respond(200, R"({"data":[]})");
    EXPECT_THAT(
        api().get_changes({"2026-01-31T23:59:59+01:00", ObjectNamespace("A", "B"), 0, 10, "5-1"}).changes,
        IsEmpty());
    EXPECT_EQ(
        service_->requests.at(0).path,
        "keepsafe/access-control/changes?since=2026-01-31T23%3A59%3A59%2B01%3A00&object=%7CA%7CB%7C&role=0"
        "&limit=10&after=5-1");
}

TEST_F(ChangeApiTest, FollowsTheLinkToTheNextPage)
{
    respond(200, R"({"data":[],"links":{"next":{"href":"/access-control/changes?after=5-1"}}})");
    const ChangePage page = api().get_changes({});
    EXPECT_EQ(page.next, "/access-control/changes?after=5-1");
    respond(200, R"({"data":[)" + CREATED + "]}");
    const ChangePage next = api().get_next(page);
    EXPECT_EQ(next.changes.size(), 1U);
    EXPECT_EQ(service_->requests.at(1).path, "keepsafe/access-control/changes?after=5-1");
    EXPECT_STREQ(thrownBy<std::invalid_argument>([&] { (void)api().get_next(next); }).what(),
                 "there is no next page");
}

TEST_F(ChangeApiTest, RefusesWhatIsNoChange)
{
    const auto statusOf = [this](const std::string& change) {
        respond(200, R"({"data":[)" + change + "]}");
        return thrownStatus([this] { (void)api().get_changes({}); });
    };
    EXPECT_EQ(statusOf("{}"), 7610);
    EXPECT_EQ(statusOf(R"({"type":"change","id":"1-1","attributes":{}})"), 7610);
    std::string other = ADDED;
    other.replace(other.find("change"), 6, "role");
    EXPECT_EQ(statusOf(other), 9103);
    respond(404, R"({"errorCode":20,"errorMessage":"there is no resource"})");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_changes({}); }), 20);
}

} // namespace
} // namespace keepsafe_test
