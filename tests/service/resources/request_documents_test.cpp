#include "resources/request_documents.h"

#include <functional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "accesscontrol/Refusal.h"
#include "support/PeakMemory.h"
#include "support/SmallStackThread.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using namespace keepsafe_service;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Propagation;
namespace Rbac = Tessara::Keepsafe::Rbac;

/// `text` with the first `from` in it replaced.
std::string with(std::string text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

const std::string ROLE =
    R"({"data":{"type":"accessControlRole","attributes":{"name":"Auditor","description":"reads"}}})";
const std::string INHERIT = R"({"data":{"type":"managedObject","attributes":{"inherit":false}}})";
const std::string GRANT =
    R"({"data":{"type":"accessDefinition","attributes":{"propagation":"CHILDREN"},"relationships":{)"
    R"("role":{"data":{"id":"17","type":"accessControlRole"}},)"
    R"("operations":{"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]}}}})";
const std::string RECORD =
    R"({"id":"|A|","type":"objectRegistrationData","attributes":{"objectType":"vm",)"
    R"("ignoreAlreadyRegistered":true,"accessControlAttributes":{"inherit":false,"accessDefinitions":[)"
    R"({"roleId":17,"operations":["|OPERATIONS|VIEW|"],"propagation":"OBJECT"}]},)"
    R"("relativeChildNamespaces":["|disks|","|x|y|"]}})";
const std::string REGISTRATION = "{\"data\":" + RECORD + "}";
const std::string STATES =
    R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)"
    R"({"objectId":"|A|","state":"READY"},{"objectId":"|B|","state":"PENDING"},)"
    R"({"objectId":"|C|","state":"DELETED"}]}}})";

TEST(RequestDocuments, RoleHasNameAndDescription)
{
    const RoleText role = readRole(ROLE);
    EXPECT_EQ(role.name, "Auditor");
    EXPECT_EQ(role.description, "reads");
    EXPECT_EQ(readRole(with(ROLE, R"(,"description":"reads")", "")).description, "");
}

TEST(RequestDocuments, MembersThatAreNotKnownAreIgnored)
{
    EXPECT_EQ(readRole(with(ROLE, R"("name")", R"("systemDefined":true,"name")")).name, "Auditor");
    EXPECT_EQ(readRole(with(ROLE, R"("type")", R"("id":"5","links":{},"type")")).name, "Auditor");
}

TEST(RequestDocuments, InheritIsTrueOrFalse)
{
    EXPECT_FALSE(readInherit(INHERIT));
    EXPECT_TRUE(readInherit(with(INHERIT, "false", "true")));
}

TEST(RequestDocuments, GrantHasRoleOperationsAndPropagation)
{
    const Grant grant = readGrant(GRANT);
    EXPECT_EQ(grant.roleId, 17);
    EXPECT_EQ(grant.propagation, Propagation(Propagation::CHILDREN));
    EXPECT_EQ(grant.operations, std::vector<ObjectNamespace>{ObjectNamespace("OPERATIONS", "VIEW")});
}

TEST(RequestDocuments, RegistrationHasChildrenBelowItsObject)
{
    const Registration registration = readRegistration(REGISTRATION);
    EXPECT_EQ(registration.ns, ObjectNamespace("A"));
    EXPECT_EQ(registration.type, "vm");
    EXPECT_TRUE(registration.ignoreAlreadyRegistered);
    EXPECT_FALSE(registration.inherit);
    EXPECT_EQ(registration.children,
              (std::vector<ObjectNamespace>{ObjectNamespace("A", "disks"), ObjectNamespace("A", "x", "y")}));
    ASSERT_EQ(registration.grants.size(), 1U);
    EXPECT_EQ(registration.grants[0].roleId, 17);
    EXPECT_EQ(registration.grants[0].propagation, Propagation(Propagation::OBJECT));
}

TEST(RequestDocuments, RegistrationWithoutAttributesInheritsAndGrantsNothing)
{
    const std::size_t begin = REGISTRATION.find("{\"inherit\"");
    const std::size_t end = REGISTRATION.find(",\"relativeChild");
    for (const char* attributes : {"null", "{}", R"({"accessDefinitions":[]})", R"({"inherit":true})"}) {
        const Registration registration =
            readRegistration(with(REGISTRATION, REGISTRATION.substr(begin, end - begin), attributes));
        EXPECT_TRUE(registration.inherit);
        EXPECT_TRUE(registration.grants.empty());
    }
}

TEST(RequestDocuments, GrantOfARegistrationReachesObjectAndChildrenWhenItDoesNotSay)
{
    const Registration registration = readRegistration(with(REGISTRATION, R"(,"propagation":"OBJECT")", ""));
    EXPECT_EQ(registration.grants.at(0).propagation, Propagation(Propagation::OBJECT_AND_CHILDREN));
}

TEST(RequestDocuments, BulkRegistrationKeepsTheOrder)
{
    const auto registrations =
        readRegistrations("{\"data\":[" + RECORD + "," + with(RECORD, "|A|", "|0|") + "]}");
    ASSERT_EQ(registrations.size(), 2U);
    EXPECT_EQ(registrations[0].ns, ObjectNamespace("A"));
    EXPECT_EQ(registrations[1].ns, ObjectNamespace("0"));
}

TEST(RequestDocuments, StateChangesKeepTheOrder)
{
    const auto changes = readStateChanges(STATES);
    ASSERT_EQ(changes.size(), 3U);
    EXPECT_EQ(changes[0].state, Rbac::READY);
    EXPECT_EQ(changes[1].state, Rbac::PENDING);
    EXPECT_EQ(changes[2].state, Rbac::DELETED);
    EXPECT_EQ(changes[2].ns, ObjectNamespace("C"));
}

TEST(RequestDocuments, NoStateChangesAreFine)
{
    EXPECT_TRUE(readStateChanges(R"({"data":{"type":"managedObjectUpdate","attributes":{)"
                                 R"("managedObjectsWithAttributes":[]}}})")
                    .empty());
}

struct FaultCase {
    std::string name;
    std::function<void(const std::string&)> read;
    std::string body;
    Refusal::Kind kind;
    std::string message;
};

void PrintTo(const FaultCase& fault, std::ostream* stream) { *stream << fault.name; }

class RequestDocumentFault : public testing::TestWithParam<FaultCase> {};

TEST_P(RequestDocumentFault, IsRefusedWithItsPlace)
{
    const auto refusal = thrownBy<Refusal>([] { GetParam().read(GetParam().body); });
    EXPECT_EQ(refusal.kind(), GetParam().kind);
    EXPECT_EQ(refusal.what(), GetParam().message);
}

void role(const std::string& body) { (void)readRole(body); }
void inherit(const std::string& body) { (void)readInherit(body); }
void grant(const std::string& body) { (void)readGrant(body); }
void registration(const std::string& body) { (void)readRegistration(body); }
void registrations(const std::string& body) { (void)readRegistrations(body); }
void states(const std::string& body) { (void)readStateChanges(body); }

constexpr Refusal::Kind MALFORMED = Refusal::Malformed;

INSTANTIATE_TEST_SUITE_P(
    Json, RequestDocumentFault,
    testing::Values(
        FaultCase{"empty", role, "", MALFORMED,
                  "the request's body is not JSON: line 1, column 0: '[' or '{' expected near end of file"},
        FaultCase{"no JSON", role, "{]", MALFORMED,
                  "the request's body is not JSON: line 1, column 2: string or '}' expected near ']'"},
        FaultCase{"text behind", role, ROLE + "x", MALFORMED,
                  "the request's body is not JSON: line 1, column 92: end of file expected near 'x'"},
        FaultCase{"duplicate member", role, with(ROLE, R"("name")", R"("name":"a","name")"), MALFORMED,
                  "the request's body is not JSON: line 1, column 67: duplicate object key near '\"name\"'"},
        FaultCase{"no UTF-8", role, with(ROLE, "Auditor", "\xFF"), MALFORMED,
                  "the request's body is not JSON: line 1, column 58: unable to decode byte 0xff near '\"'"},
        FaultCase{"no object", role, "[]", MALFORMED, "document: expected an object, found an array"},
        FaultCase{"no data", role, "{}", MALFORMED, "document: member \"data\" is missing"}));

INSTANTIATE_TEST_SUITE_P(
    Roles, RequestDocumentFault,
    testing::Values(FaultCase{"data is no object", role, R"({"data":[]})", MALFORMED,
                              "data: expected an object, found an array"},
                    FaultCase{"no type", role, R"({"data":{}})", MALFORMED,
                              "data: member \"type\" is missing"},
                    FaultCase{"other type", role, INHERIT, Refusal::WrongType,
                              "data.type: expected \"accessControlRole\", found \"managedObject\""},
                    FaultCase{"no attributes", role, R"({"data":{"type":"accessControlRole"}})", MALFORMED,
                              "data: member \"attributes\" is missing"},
                    FaultCase{"no name", role, with(ROLE, "\"name\"", "\"nom\""), MALFORMED,
                              "data.attributes: member \"name\" is missing"},
                    FaultCase{"name is no string", role, with(ROLE, "\"Auditor\"", "5"), MALFORMED,
                              "data.attributes.name: expected a string, found an integer"},
                    FaultCase{"description is no string", role, with(ROLE, "\"reads\"", "null"), MALFORMED,
                              "data.attributes.description: expected a string, found null"}));

INSTANTIATE_TEST_SUITE_P(
    Objects, RequestDocumentFault,
    testing::Values(
        FaultCase{"inherit is no boolean", inherit, with(INHERIT, "false", "\"false\""), MALFORMED,
                  "data.attributes.inherit: expected a boolean, found a string"},
        FaultCase{"role instead of object", inherit, ROLE, Refusal::WrongType,
                  "data.type: expected \"managedObject\", found \"accessControlRole\""},
        FaultCase{"propagation", grant, with(GRANT, "CHILDREN", "children"), Refusal::Invalid,
                  "data.attributes.propagation: \"children\" is none of OBJECT, CHILDREN and "
                  "OBJECT_AND_CHILDREN"},
        FaultCase{"role id is no string", grant, with(GRANT, "\"17\"", "17"), MALFORMED,
                  "data.relationships.role.data.id: expected a string, found an integer"},
        FaultCase{"role id is no number", grant, with(GRANT, "\"17\"", "\"17a\""), Refusal::Invalid,
                  "data.relationships.role.data.id: \"17a\" is not the decimal text of a number from 0 to "
                  "2147483647"},
        FaultCase{"other role type", grant, with(GRANT, "\"accessControlRole\"", "\"role\""),
                  Refusal::WrongType,
                  "data.relationships.role.data.type: expected \"accessControlRole\", found \"role\""},
        FaultCase{"other operation type", grant, with(GRANT, "accessControlOperation", "operation"),
                  Refusal::WrongType,
                  "data.relationships.operations.data[0].type: expected \"accessControlOperation\", found "
                  "\"operation\""},
        FaultCase{"operation is no namespace", grant, with(GRANT, "|OPERATIONS|VIEW|", "VIEW"), MALFORMED,
                  "data.relationships.operations.data[0].id: \"VIEW\" is not a namespace"},
        FaultCase{"no relationships", grant, with(GRANT, "relationships", "relations"), MALFORMED,
                  "data: member \"relationships\" is missing"}));

INSTANTIATE_TEST_SUITE_P(
    Registration, RequestDocumentFault,
    testing::Values(
        FaultCase{"id", registration, with(REGISTRATION, "|A|", "A"), MALFORMED,
                  "data.id: \"A\" is not a namespace"},
        FaultCase{"misspelt inherit", registration, with(REGISTRATION, "\"inherit\"", "\"inherits\""),
                  MALFORMED, "data.attributes.accessControlAttributes: unknown member \"inherits\""},
        FaultCase{
            "attributes are a list", registration,
            with(REGISTRATION, "\"accessControlAttributes\":{", "\"accessControlAttributes\":[],\"x\":{"),
            MALFORMED, "data.attributes.accessControlAttributes: expected an object, found an array"},
        FaultCase{"no attributes", registration, with(REGISTRATION, "accessControlAttributes", "x"),
                  MALFORMED, "data.attributes: member \"accessControlAttributes\" is missing"},
        FaultCase{
            "negative role", registration, with(REGISTRATION, ":17", ":-1"), MALFORMED,
            "data.attributes.accessControlAttributes.accessDefinitions[0].roleId: -1 is out of range (0 "
            "to 2147483647)"},
        FaultCase{
            "unknown propagation", registration, with(REGISTRATION, "\"OBJECT\"", "\"ALL\""),
            Refusal::Invalid,
            "data.attributes.accessControlAttributes.accessDefinitions[0].propagation: \"ALL\" is none of "
            "OBJECT, CHILDREN and OBJECT_AND_CHILDREN"},
        FaultCase{"child", registration, with(REGISTRATION, "|disks|", "disks"), MALFORMED,
                  "data.attributes.relativeChildNamespaces[0]: \"disks\" is not a namespace"},
        FaultCase{"list for one", registration, "{\"data\":[" + RECORD + "]}", MALFORMED,
                  "data: expected an object, found an array"},
        FaultCase{"one for a list", registrations, REGISTRATION, MALFORMED,
                  "data: expected an array, found an object"},
        FaultCase{"nothing", registrations, R"({"data":[]})", Refusal::Invalid,
                  "data: nothing is to be registered"},
        FaultCase{"second of two", registrations,
                  "{\"data\":[" + RECORD + "," + with(RECORD, "\"vm\"", "1") + "]}", MALFORMED,
                  "data[1].attributes.objectType: expected a string, found an integer"}));

INSTANTIATE_TEST_SUITE_P(
    States, RequestDocumentFault,
    testing::Values(
        FaultCase{
            "state", states, with(STATES, "PENDING", "pending"), Refusal::Invalid,
            "data.attributes.managedObjectsWithAttributes[1].state: \"pending\" is none of READY, PENDING "
            "and DELETED"},
        FaultCase{"record is no object", states,
                  with(STATES, "{\"objectId\":\"|A|\",\"state\":\"READY\"}", "1"), MALFORMED,
                  "data.attributes.managedObjectsWithAttributes[0]: expected an object, found an integer"},
        FaultCase{"no id", states, with(STATES, "objectId", "id"), MALFORMED,
                  "data.attributes.managedObjectsWithAttributes[0]: member \"objectId\" is missing"},
        FaultCase{"other type", states, REGISTRATION, Refusal::WrongType,
                  "data.type: expected \"managedObjectUpdate\", found \"objectRegistrationData\""}));

TEST(RequestDocuments, ThatAreNestedDeepNeedASmallStack)
{
    const std::string body = "{\"data\":" + std::string(2000, '[') + std::string(2000, ']') + "}";
    std::string message;
    runOnSmallStack([&] { message = thrownBy<Refusal>([&] { (void)readRegistration(body); }).what(); }, 64);
    EXPECT_EQ(
        message,
        "the request's body is not JSON: line 1, column 108: more than 100 levels of arrays and objects");
}

TEST(RequestDocuments, OfManySmallValuesAreRefusedBeforeTheyTakeMemory)
{
    std::string body = "{\"data\":[{}";
    while (body.size() < 60'000'000) {
        body += ",{}";
    }
    body += "]}";
    PeakMemory peak;
    const Refusal refusal = thrownBy<Refusal>([&] { (void)readRegistrations(body); });
    EXPECT_EQ(refusal.kind(), Refusal::Malformed);
    EXPECT_THAT(refusal.what(), testing::EndsWith("values need more than 268435456 bytes"));
    EXPECT_LT(peak.growth(), 10'000'000U);
}

} // namespace
} // namespace keepsafe_test
