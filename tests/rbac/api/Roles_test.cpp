#include <keepsafe/rbac/api/Roles.h>

#include <keepsafe/platform/http/service_failures.h>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ExplainedFailure;
using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::TransferFailure;
using Tessara::Keepsafe::Rbac::Role;
using Tessara::Keepsafe::Rbac::RoleAPI;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char AUDITOR[] =
    R"({"type":"accessControlRole","links":{"self":{"href":"/access-control/roles/17"}},"id":"17",)"
    R"("attributes":{"name":"auditor","description":"reads","systemDefined":true}})";
constexpr char PLAIN[] = R"({"type":"accessControlRole","id":"0","attributes":{"name":"plain"}})";

class RoleApiTest : public ApiTest<RoleAPI> {
protected:
    /// The status thrown when the service sends this as a role.
    int statusOf(const std::string& resource)
    {
        respond(200, document(resource));
        return thrownStatus([this] { (void)api().get_role(17); });
    }
};

TEST_F(RoleApiTest, CreatesARole)
{
    respond(201, document(AUDITOR));
    const Role role = api().create_role("auditor", "reads");
    EXPECT_EQ(role.href, "/access-control/roles/17");
    EXPECT_EQ(role.id, 17);
    EXPECT_EQ(role.name, "auditor");
    EXPECT_EQ(role.description, "reads");
    EXPECT_TRUE(role.systemDefined);
    const std::string body =
        R"({"data":{"type":"accessControlRole","attributes":{"name":"auditor","description":"reads"}}})";
    EXPECT_THAT(service_->requests, ElementsAre(Request{"POST", "keepsafe/access-control/roles", body}));
}

TEST_F(RoleApiTest, LogsTheRequestAndWhatItReceived)
{
    const auto request = [](const std::string& path, int httpStatus) {
        return "Request for keepsafe/access-control/roles" + path + "; curl status 0; http status " +
               std::to_string(httpStatus);
    };
    respond(201, document(PLAIN));
    (void)api().create_role("plain", "");
    respond(200, document(AUDITOR));
    (void)api().get_role(17);
    respond(200, document("[]"));
    (void)api().get_roles("x y");
    respond(204, "not read");
    api().delete_role_by_id(17);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{4, "RoleAPI::create_role", request("", 201)},
                            LogLine{2, "RoleAPI::create_role", "Received JSON: " + document(PLAIN)},
                            LogLine{4, "RoleAPI::get_role", request("/17", 200)},
                            LogLine{2, "RoleAPI::get_role", "Received JSON: " + document(AUDITOR)},
                            LogLine{4, "RoleAPI::get_roles", request("?filter=x%20y", 200)},
                            LogLine{2, "RoleAPI::get_roles", "Received JSON: " + document("[]")},
                            LogLine{4, "RoleAPI::delete_role_by_id", request("/17", 204)}));
}

TEST_F(RoleApiTest, LeavesAnEmptyDescriptionOut)
{
    respond(201, document(PLAIN));
    const Role role = api().create_role("plain", "");
    EXPECT_EQ(service_->requests.at(0).body,
              R"({"data":{"type":"accessControlRole","attributes":{"name":"plain"}}})");
    EXPECT_EQ(role.href, "");
    EXPECT_EQ(role.description, "");
    EXPECT_FALSE(role.systemDefined);
}

TEST_F(RoleApiTest, AcceptsOnly201ForANewRole)
{
    respond(200, document(PLAIN));
    EXPECT_EQ(thrownStatus([this] { (void)api().create_role("plain", ""); }), 114);
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, "RoleAPI::create_role", "Unexpected HTTP status: 200"}));
}

TEST_F(RoleApiTest, GetsARoleByItsId)
{
    respond(200, document(AUDITOR));
    EXPECT_EQ(api().get_role(17).name, "auditor");
    EXPECT_THAT(service_->requests, ElementsAre(Request{"GET", "keepsafe/access-control/roles/17", ""}));
}

TEST_F(RoleApiTest, ListsRolesWithoutAQueryForAnEmptyFilter)
{
    respond(200, document(std::string("[") + AUDITOR + "," + PLAIN + "]"));
    const std::list<Role> roles = api().get_roles("");
    ASSERT_EQ(roles.size(), 2U);
    EXPECT_EQ(roles.front().name, "auditor");
    EXPECT_EQ(roles.back().name, "plain");
    EXPECT_THAT(service_->requests, ElementsAre(Request{"GET", "keepsafe/access-control/roles", ""}));
}

TEST_F(RoleApiTest, EncodesTheFilter)
{
    respond(200, document("[]"));
    EXPECT_THAT(api().get_roles("name eq 'a b'"), IsEmpty());
    EXPECT_EQ(service_->requests.at(0).path, "keepsafe/access-control/roles?filter=name%20eq%20%27a%20b%27");
}

TEST_F(RoleApiTest, DataThatIsNoArrayIsAnEmptyList)
{
    respond(200, document(AUDITOR));
    EXPECT_THAT(api().get_roles(""), IsEmpty());
}

TEST_F(RoleApiTest, OneBadElementIsNoList)
{
    respond(200, document(std::string("[") + AUDITOR + R"(,{"type":"accessControlRole"}])"));
    EXPECT_EQ(thrownStatus([this] { (void)api().get_roles(""); }), 7610);
    EXPECT_THAT(
        log_.lines(16),
        ElementsAre(LogLine{16, "Role::Role",
                            "Error parsing JSON response at position 23: Object item not found: id"}));
}

TEST_F(RoleApiTest, UpdatesARoleAtItsLink)
{
    Role role;
    role.href = "/access-control/roles/17";
    role.name = "auditor";
    role.description = "reads";
    respond(204, "");
    api().update_role(role);
    const std::string body =
        R"({"data":{"type":"accessControlRole","attributes":{"name":"auditor","description":"reads"}}})";
    EXPECT_THAT(service_->requests, ElementsAre(Request{"PUT", "keepsafe/access-control/roles/17", body}));
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(LogLine{4, "RoleAPI::update_role",
                            "Request for keepsafe/access-control/roles/17; curl status 0; http status 204"}));
}

TEST_F(RoleApiTest, AppendsALinkAsItIs)
{
    Role role;
    role.name = "plain";
    role.href = "no slash?a b|%";
    respond(204, "");
    api().update_role(role);
    EXPECT_EQ(service_->requests.at(0).path, "keepsafeno slash?a b|%");
}

TEST_F(RoleApiTest, UpdatesARoleWithoutALinkAtTheRestRoot)
{
    Role role;
    role.name = "plain";
    respond(204, "");
    api().update_role(role);
    EXPECT_EQ(service_->requests.at(0).path, "keepsafe");
}

TEST_F(RoleApiTest, DeletesARoleByItsId)
{
    respond(204, "");
    api().delete_role_by_id(17);
    EXPECT_THAT(service_->requests, ElementsAre(Request{"DELETE", "keepsafe/access-control/roles/17", ""}));
}

TEST_F(RoleApiTest, AcceptsOnly204ForChangesAndDeletions)
{
    Role role;
    role.name = "plain";
    respond(200, "");
    EXPECT_EQ(thrownStatus([&] { api().update_role(role); }), 114);
    respond(200, "");
    EXPECT_EQ(thrownStatus([&] { api().delete_role_by_id(17); }), 114);
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, "RoleAPI::update_role", "Unexpected HTTP status: 200"},
                            LogLine{16, "RoleAPI::delete_role_by_id", "Unexpected HTTP status: 200"}));
}

TEST_F(RoleApiTest, AFailedTransferIsItsStatusAndNotLogged)
{
    service_->responses.push_back({7, 0, ""});
    EXPECT_EQ(thrownStatus([this] { (void)api().get_role(17); }), 7);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RoleApiTest, AFailureTellsItsCause)
{
    const auto call = [this] { (void)api().get_role(17); };
    service_->responses.push_back({7, 0, "", nullptr, "GET failed"});
    EXPECT_EQ(thrownBy<TransferFailure>(call).reason(), "GET failed");
    respond(404, R"({"errorCode":8047,"errorMessage":"no such role"})");
    EXPECT_EQ(thrownBy<ServiceRefusal>(call).reason(), "HTTP status 404: no such role");
    respond(200, R"({"data":{"type":"x","id":"1","attributes":{"name":"n"}}})");
    EXPECT_EQ(thrownBy<ExplainedFailure>(call).reason(), "Unexpected response type: x");
}

TEST_F(RoleApiTest, AnErrorOfTheServiceIsItsCode)
{
    respond(404, R"({"errorCode":8047,"errorMessage":"no such role"})");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_role(17); }), 8047);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{4, "RoleAPI::get_role",
                                    "Request for keepsafe/access-control/roles/17; curl status 0; "
                                    "http status 404"},
                            LogLine{16, "RoleAPI::get_role", "Unexpected HTTP status: 404: no such role"}));
}

TEST_F(RoleApiTest, AResponseThatIsNotJsonIs7610)
{
    respond(200, "no JSON");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_role(17); }), 7610);
    respond(200, "no JSON");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_roles(""); }), 7610);
    respond(201, "no JSON");
    EXPECT_EQ(thrownStatus([this] { (void)api().create_role("n", ""); }), 7610);
    const LogLine line{16, "json_loads_shared", "Error parsing JSON: '[' or '{' expected near 'no'"};
    EXPECT_THAT(log_.lines(16), ElementsAre(line, line, line));
}

TEST_F(RoleApiTest, AResponseWithoutDataIs7610)
{
    const char message[] = "Error getting 'data' field from JSON response";
    respond(200, "{}");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_role(17); }), 7610);
    respond(201, "[]");
    EXPECT_EQ(thrownStatus([this] { (void)api().create_role("n", ""); }), 7610);
    respond(200, "{}");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_roles(""); }), 7610);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, "RoleAPI::get_role", message},
                                            LogLine{16, "RoleAPI::create_role", message},
                                            LogLine{16, "RoleAPI::get_roles", message}));
}

TEST_F(RoleApiTest, AResourceOfAnotherFormIs7610)
{
    EXPECT_EQ(statusOf(R"({"type":"accessControlRole","attributes":{"name":"n"}})"), 7610) << "no id";
    EXPECT_EQ(statusOf(R"({"type":"accessControlRole","id":17,"attributes":{"name":"n"}})"), 7610)
        << "id a number";
    EXPECT_EQ(statusOf(R"({"type":"accessControlRole","id":"17","attributes":{}})"), 7610) << "no name";
    EXPECT_EQ(statusOf(R"({"type":"accessControlRole","links":{},"id":"17","attributes":{"name":"n"}})"),
              7610)
        << "links without self";
    EXPECT_EQ(
        statusOf(R"({"type":"accessControlRole","links":{"self":{}},"id":"17","attributes":{"name":"n"}})"),
        7610)
        << "self without href";
    EXPECT_EQ(
        statusOf(
            R"({"type":"accessControlRole","id":"17","attributes":{"name":"n","systemDefined":"true"}})"),
        7610)
        << "systemDefined a string";
    EXPECT_EQ(statusOf("null"), 7610);
    EXPECT_EQ(log_.lines(16).size(), 7U);
    for (const LogLine& line : log_.lines(16)) {
        EXPECT_EQ(line.tag, "Role::Role");
        EXPECT_THAT(line.text, testing::MatchesRegex("Error parsing JSON response at position -?[0-9]+: .+"));
    }
}

TEST_F(RoleApiTest, AResourceOfAnotherTypeIs9103)
{
    EXPECT_EQ(statusOf(R"({"type":"managedObject","id":"x","attributes":{"name":"n"}})"), 9103)
        << "before anything is made of the id";
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, "Role::Role", "Unexpected response type: managedObject"}));
}

TEST_F(RoleApiTest, AnIdThatIsNoNumberOrNegativeIs9103)
{
    for (const char* id : {"12a", "", " 12", "12 ", "2147483648", "1.0"}) {
        SCOPED_TRACE(id);
        log_.clear();
        EXPECT_EQ(statusOf(R"({"type":"accessControlRole","id":")" + std::string(id) +
                           R"(","attributes":{"name":"n"}})"),
                  9103);
        EXPECT_THAT(
            log_.lines(16),
            ElementsAre(LogLine{16, "Role::Role",
                                "Invalid role ID in response: " + std::string(id) +
                                    " (bad lexical cast: source type value could not be interpreted as "
                                    "target)"}));
    }
    log_.clear();
    EXPECT_EQ(statusOf(R"({"type":"accessControlRole","id":"-1","attributes":{"name":"n"}})"), 9103);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, "Role::Role", "Invalid role ID in response: -1"}));
}

TEST_F(RoleApiTest, ANegativeIdGoesIntoThePathAsItIs)
{
    respond(200, document(PLAIN));
    (void)api().get_role(-1);
    respond(204, "");
    api().delete_role_by_id(-2147483647 - 1);
    EXPECT_THAT(service_->requests,
                ElementsAre(Request{"GET", "keepsafe/access-control/roles/-1", ""},
                            Request{"DELETE", "keepsafe/access-control/roles/-2147483648", ""}));
}

TEST_F(RoleApiTest, TheTypeIsComparedExactly)
{
    for (const char* type :
         {"accessControlRol", "accessControlRoles", "AccessControlRole", "", "accessControlRole "}) {
        EXPECT_EQ(statusOf(R"({"type":")" + std::string(type) + R"(","id":"1","attributes":{"name":"n"}})"),
                  9103)
            << type;
    }
}

} // namespace
} // namespace keepsafe_test
