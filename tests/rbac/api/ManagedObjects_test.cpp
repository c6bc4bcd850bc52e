#include <keepsafe/rbac/api/ManagedObjects.h>

#include <stdexcept>

#include <boost/lexical_cast.hpp>
#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "rbac/api/ManagedObjectApiTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::json_pack_shared;
using testing::ElementsAre;
using testing::IsEmpty;
namespace rbac = Tessara::Keepsafe::Rbac;

constexpr char OBJECT_TAG[] = "ManagedObject::ManagedObject";
constexpr char NO_DATA[] = "Error getting 'data' field from JSON response";
const std::string PATH = "keepsafe/access-control/managed-objects/%7CA%2Bb%7C";

TEST_F(ManagedObjectApiTest, GetsAnObject)
{
    const ManagedObjectResource resource = receive(
        R"({"type":"managedObject","id":"|A+b|","attributes":{"inherit":false,"state":"PENDING"},"links":{}})");
    EXPECT_EQ(resource.href, "");
    EXPECT_EQ(resource.object, object_);
    EXPECT_FALSE(resource.inherit);
    EXPECT_EQ(resource.state, rbac::PENDING);
    EXPECT_THAT(service_->requests, ElementsAre(Request{"GET", PATH, ""}));
}

TEST_F(ManagedObjectApiTest, LogsTheRequestAndWhatItReceived)
{
    const auto tag = [](const char* operation) { return std::string("ManagedObjectAPI::") + operation; };
    const auto request = [](const std::string& path, int httpStatus) {
        return "Request for " + PATH + path + "; curl status 0; http status " + std::to_string(httpStatus);
    };
    const std::string object =
        document(R"({"type":"managedObject","id":"|A|","attributes":{"inherit":true,"state":"READY"}})");
    respond(200, object);
    (void)api().get_object(object_);
    respond(204, "not read");
    api().set_inherit(object_, true);
    respond(201, document(DefinitionText().str()));
    (void)add(Propagation::OBJECT, rbac::json_array_shared());
    respond(200, document("[]"));
    (void)api().get_access_definitions(object_);
    respond(204, "not read");
    api().delete_access_definition_by_id(object_, "d1");
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(
            LogLine{4, tag("get_managed_object"), request("", 200)},
            LogLine{2, tag("get_managed_object"), "Received JSON: " + object},
            LogLine{4, tag("set_inherit"), request("", 204)},
            LogLine{4, tag("add_access_definition"), request("/access-definitions", 201)},
            LogLine{2, tag("add_access_definition"), "Received JSON: " + document(DefinitionText().str())},
            LogLine{4, tag("get_access_definitions"), request("/access-definitions", 200)},
            LogLine{2, tag("get_access_definitions"), "Received JSON: " + document("[]")},
            LogLine{4, tag("delete_access_definition_by_id"), request("/access-definitions/d1", 204)}));
}

TEST_F(ManagedObjectApiTest, ReadsTheStateReady)
{
    const ManagedObjectResource resource =
        receive(R"({"type":"managedObject","id":"|","attributes":{"inherit":true,"state":"READY"}})");
    EXPECT_TRUE(resource.inherit);
    EXPECT_EQ(resource.state, rbac::READY);
    EXPECT_TRUE(resource.object.is_root());
}

TEST_F(ManagedObjectApiTest, AnyOtherStateIs9103)
{
    for (const char* state : {"DELETED", "ready", ""}) {
        SCOPED_TRACE(state);
        log_.clear();
        EXPECT_EQ(statusOf(R"({"type":"managedObject","id":"|A|","attributes":{"inherit":true,"state":")" +
                           std::string(state) + R"("}})"),
                  9103);
        EXPECT_THAT(log_.lines(16),
                    ElementsAre(LogLine{16, OBJECT_TAG, "Unexpected object state: " + std::string(state)}));
    }
}

TEST_F(ManagedObjectApiTest, AnObjectOfAnotherTypeIs9103)
{
    EXPECT_EQ(statusOf(R"({"type":"role","id":"A","attributes":{"inherit":true,"state":"x"}})"), 9103)
        << "before anything is made of the id and the state";
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, OBJECT_TAG, "Unexpected response type: role"}));
}

TEST_F(ManagedObjectApiTest, AnObjectOfAnotherFormIs7610)
{
    EXPECT_EQ(statusOf(R"({"type":"managedObject","id":"|A|","attributes":{"inherit":true}})"), 7610)
        << "no state";
    EXPECT_EQ(statusOf(R"({"type":"managedObject","id":"|A|","attributes":{"inherit":1,"state":"READY"}})"),
              7610);
    EXPECT_EQ(statusOf(R"({"type":"managedObject","id":"|A|"})"), 7610);
    EXPECT_EQ(log_.lines(16).size(), 3U);
    for (const LogLine& line : log_.lines(16)) {
        EXPECT_EQ(line.tag, OBJECT_TAG);
        EXPECT_THAT(line.text, testing::MatchesRegex("Error parsing JSON response at position -?[0-9]+: .+"));
    }
}

TEST_F(ManagedObjectApiTest, AnIdThatIsNoNamespaceIsABadCast)
{
    EXPECT_THROW(receive(R"({"type":"managedObject","id":"A","attributes":{"inherit":true,"state":"x"}})"),
                 boost::bad_lexical_cast);
    EXPECT_THAT(log_.lines(16), IsEmpty()) << "before anything is made of the state";
}

TEST_F(ManagedObjectApiTest, AResponseWithoutDataIs7610)
{
    respond(200, "{}");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_object(object_); }), 7610);
    respond(200, "no JSON");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_access_definitions(object_); }), 7610);
    respond(201, "no JSON");
    EXPECT_EQ(thrownStatus([this] { (void)add(Propagation::OBJECT, rbac::json_array_shared()); }), 7610);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, "ManagedObjectAPI::get_managed_object", NO_DATA},
                                            LogLine{16, "ManagedObjectAPI::get_access_definitions", NO_DATA},
                                            LogLine{16, "ManagedObjectAPI::add_access_definition", NO_DATA}));
}

TEST_F(ManagedObjectApiTest, AnObjectThatIsNotJsonIs7610WithTheParsersReason)
{
    respond(200, "no JSON");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_object(object_); }), 7610);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, "json_loads_shared",
                                                    "Error parsing JSON: '[' or '{' expected near 'no'"}));
}

TEST_F(ManagedObjectApiTest, SetsTheInheritance)
{
    respond(204, "");
    api().set_inherit(object_, false);
    respond(204, "");
    api().set_inherit(ObjectNamespace(), true);
    EXPECT_THAT(service_->requests,
                ElementsAre(Request{"PATCH", PATH,
                                    R"({"data":{"type":"managedObject","attributes":{"inherit":false}}})"},
                            Request{"PATCH", "keepsafe/access-control/managed-objects/%7C",
                                    R"({"data":{"type":"managedObject","attributes":{"inherit":true}}})"}));
}

TEST_F(ManagedObjectApiTest, AcceptsOnly204ForChangesAndDeletions)
{
    respond(200, "");
    EXPECT_EQ(thrownStatus([this] { api().set_inherit(object_, true); }), 114);
    respond(200, "");
    EXPECT_EQ(thrownStatus([this] { api().delete_access_definition_by_id(object_, "d1"); }), 114);
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, "ManagedObjectAPI::set_inherit", "Unexpected HTTP status: 200"},
                            LogLine{16, "ManagedObjectAPI::delete_access_definition_by_id",
                                    "Unexpected HTTP status: 200"}));
}

TEST_F(ManagedObjectApiTest, AddsAnAccessDefinition)
{
    respond(201, document(DefinitionText().str()));
    const auto operations =
        json_pack_shared("[{s:s, s:s}]", "id", "|OPERATIONS|VIEW|", "type", "accessControlOperation");
    const AccessDefinition added = add(Propagation::OBJECT_AND_CHILDREN, operations);
    EXPECT_EQ(added.id, "d1");
    EXPECT_EQ(operations->refcount, 1U) << "the operations stay the caller's";
    const std::string body =
        R"({"data":{"type":"accessDefinition","attributes":{"propagation":"OBJECT_AND_CHILDREN"},)"
        R"("relationships":{"role":{"data":{"id":"17","type":"accessControlRole"}},)"
        R"("operations":{"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]}}}})";
    EXPECT_THAT(service_->requests, ElementsAre(Request{"POST", PATH + "/access-definitions", body}));
}

TEST_F(ManagedObjectApiTest, AcceptsOnly201ForANewAccessDefinition)
{
    respond(200, document(DefinitionText().str()));
    EXPECT_EQ(thrownStatus([this] { (void)add(Propagation::OBJECT, rbac::json_array_shared()); }), 114);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, "ManagedObjectAPI::add_access_definition",
                                                    "Unexpected HTTP status: 200"}));
}

TEST_F(ManagedObjectApiTest, AnErrorOfTheServiceIsItsCode)
{
    respond(404, R"({"errorCode":5931,"errorMessage":"none","errorDetails":["|A|"]})");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_object(object_); }), 5931);
    respond(403, R"({"errorCode":5930,"errorMessage":"forbidden"})");
    EXPECT_EQ(thrownStatus([this] { (void)api().get_access_definitions(object_); }), 5930);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, "ManagedObjectAPI::get_managed_object",
                                                    "Unexpected HTTP status: 404: none (|A|)"},
                                            LogLine{16, "ManagedObjectAPI::get_access_definitions",
                                                    "Unexpected HTTP status: 403: forbidden"}));
}

TEST_F(ManagedObjectApiTest, APropagationThatIsNoneOfTheThreeIsNotSent)
{
    EXPECT_THAT([this] { (void)add(static_cast<Propagation::enum_type>(7), rbac::json_array_shared()); },
                testing::ThrowsMessage<std::invalid_argument>("invalid propagation value"));
    EXPECT_THAT(service_->created, IsEmpty());
}

TEST_F(ManagedObjectApiTest, MissingOperationsCannotBePacked)
{
    EXPECT_THROW(add(Propagation::OBJECT, nullptr), std::bad_alloc);
    EXPECT_THAT(service_->created, IsEmpty());
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "json_pack_shared", "Error generating JSON: NULL object"}));
}

TEST_F(ManagedObjectApiTest, ListsAccessDefinitionsInTheirOrder)
{
    DefinitionText second;
    second.id = R"("id":"d2",)";
    respond(200, document("[" + DefinitionText().str() + "," + second.str() + "]"));
    const std::list<AccessDefinition> definitions = api().get_access_definitions(object_);
    ASSERT_EQ(definitions.size(), 2U);
    const AccessDefinition& first = definitions.front();
    EXPECT_EQ(first.href, "/access-definitions/d1");
    EXPECT_EQ(first.id, "d1");
    EXPECT_EQ(first.propagation, Propagation::CHILDREN);
    EXPECT_EQ(first.roleId, 17);
    EXPECT_THAT(first.operations,
                ElementsAre(ObjectNamespace("OPERATIONS", "VIEW"), ObjectNamespace("OPERATIONS", "ADD")));
    EXPECT_EQ(first.managedObject, ObjectNamespace("A"));
    EXPECT_EQ(definitions.back().id, "d2");
    EXPECT_THAT(service_->requests, ElementsAre(Request{"GET", PATH + "/access-definitions", ""}));
}

TEST_F(ManagedObjectApiTest, DataThatIsNoArrayIsAnEmptyList)
{
    respond(200, document(DefinitionText().str()));
    EXPECT_THAT(api().get_access_definitions(object_), IsEmpty());
}

TEST_F(ManagedObjectApiTest, PlacesTheIdOfAnAccessDefinitionInThePathAsItIs)
{
    respond(204, "");
    api().delete_access_definition_by_id(object_, "d/1 |");
    EXPECT_THAT(service_->requests, ElementsAre(Request{"DELETE", PATH + "/access-definitions/d/1 |", ""}));
}

TEST_F(ManagedObjectApiTest, AFailedTransferIsItsStatusAndNotLogged)
{
    service_->responses.push_back({28, 0, ""});
    EXPECT_EQ(thrownStatus([this] { api().set_inherit(object_, true); }), 28);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ManagedObjectApiTest, TypesAndStatesAreComparedExactly)
{
    const auto object = [](const std::string& type, const std::string& state) {
        return R"({"type":")" + type + R"(","id":"|A|","attributes":{"inherit":true,"state":")" + state +
               R"("}})";
    };
    EXPECT_EQ(statusOf(object("managedObject", "READY")), 0);
    for (const char* type : {"managedObjec", "managedObjects", "ManagedObject", ""}) {
        EXPECT_EQ(statusOf(object(type, "READY")), 9103) << type;
    }
    for (const char* state : {"READ", "READY ", "READYS", "PEND", "PENDINGS", "Pending"}) {
        EXPECT_EQ(statusOf(object("managedObject", state)), 9103) << state;
    }
}

TEST_F(ManagedObjectApiTest, TheLinkOfAnObjectIsNotRead)
{
    EXPECT_EQ(receive(R"({"type":"managedObject","id":"|A|","attributes":{"inherit":true,"state":"READY"},)"
                      R"("href":"/x","links":{"self":{"href":"/y"}}})")
                  .href,
              "");
}

TEST_F(ManagedObjectApiTest, AZeroByteInAnIdIsRefusedAndNotTheEndOfThePath)
{
    const std::string cut("d\0x", 3);
    EXPECT_STREQ(
        thrownBy<std::invalid_argument>([&] { api().delete_access_definition_by_id(object_, cut); }).what(),
        "access definition id contains a zero byte");
    EXPECT_THAT(service_->created, IsEmpty());
}

} // namespace
} // namespace keepsafe_test
