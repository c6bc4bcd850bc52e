// What the service answers, read back with the library's own readers.

#include "resources/response_documents.h"

#include <string>

#include <gtest/gtest.h>

#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Roles.h>

#include "accesscontrol/AccessControl.h"
#include "database/DatabaseError.h"
#include "resources/error_documents.h"
#include "json/json_text.h"

namespace {

using namespace keepsafe_service;
using Tessara::Keepsafe::Rbac::AccessDefinition;
using Tessara::Keepsafe::Rbac::ManagedObjectResource;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Propagation;
using Tessara::Keepsafe::Rbac::Role;
namespace Rbac = Tessara::Keepsafe::Rbac;

JsonHandle parsed(const std::string& text)
{
    JsonHandle document(json_loadb(text.data(), text.size(), 0, nullptr));
    EXPECT_NE(document, nullptr) << text;
    return document;
}

const json_t* dataOf(const JsonHandle& document) { return json_object_get(document.get(), "data"); }

TEST(ResponseDocuments, RoleIsWhatTheLibraryReads)
{
    const JsonHandle document = parsed(roleDocument({17, "Auditor \"J\xC3\xB6rg\"", "reads", true}));
    const Role role(dataOf(document));
    EXPECT_EQ(role.id, 17);
    EXPECT_EQ(role.name, "Auditor \"J\xC3\xB6rg\"");
    EXPECT_EQ(role.description, "reads");
    EXPECT_TRUE(role.systemDefined);
    EXPECT_EQ(role.href, "/access-control/roles/17") << "update_role puts \"keepsafe\" in front of it";
}

TEST(ResponseDocuments, RolesAreAList)
{
    EXPECT_EQ(rolesDocument({}), R"({"data":[]})");
    const JsonHandle document = parsed(rolesDocument({{1, "a", "", false}, {2, "b", "", false}}));
    ASSERT_EQ(json_array_size(dataOf(document)), 2U);
    EXPECT_EQ(Role(json_array_get(dataOf(document), 1)).name, "b");
}

TEST(ResponseDocuments, ObjectIsWhatTheLibraryReads)
{
    const JsonHandle document =
        parsed(objectDocument({ObjectNamespace("A b", "c|d"), "vm", false, Rbac::PENDING}));
    const ManagedObjectResource object(dataOf(document));
    EXPECT_EQ(object.object, ObjectNamespace("A b", "c|d"));
    EXPECT_FALSE(object.inherit);
    EXPECT_EQ(object.state, Rbac::PENDING);
}

TEST(ResponseDocuments, AccessDefinitionIsWhatTheLibraryReads)
{
    const AccessDefinitionRecord record = {
        "5",
        ObjectNamespace("A b"),
        {17, Propagation::CHILDREN, {ObjectNamespace("OPERATIONS", "VIEW"), ObjectNamespace("X")}}};
    for (const bool isList : {false, true}) {
        const JsonHandle document =
            parsed(isList ? definitionsDocument({record}) : definitionDocument(record));
        const AccessDefinition definition(isList ? json_array_get(dataOf(document), 0) : dataOf(document));
        EXPECT_EQ(definition.id, "5");
        EXPECT_EQ(definition.roleId, 17);
        EXPECT_EQ(definition.propagation, Propagation(Propagation::CHILDREN));
        EXPECT_EQ(definition.managedObject, ObjectNamespace("A b"));
        EXPECT_EQ(definition.operations,
                  (std::list<ObjectNamespace>{ObjectNamespace("OPERATIONS", "VIEW"), ObjectNamespace("X")}));
        EXPECT_EQ(definition.href, "/access-control/managed-objects/%7CA%2Bb%7C/access-definitions/5");
    }
}

TEST(ResponseDocuments, OperationsAccessCacheAndStateUpdateAreExact)
{
    EXPECT_EQ(operationsDocument({ObjectNamespace("OPERATIONS", "VIEW")}),
              R"({"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]})");
    EXPECT_EQ(accessCacheDocument("service"), R"({"data":{"id":"service","type":"accessCache"}})");
    EXPECT_EQ(stateUpdateDocument(), R"({"data":{"type":"managedObjectUpdate"}})");
}

const std::string REGISTERED =
    R"({"id":"|A|","relationships":{"registeredObjects":{"data":[{"id":"|A|","type":"managedObject"},)"
    R"({"id":"|A|b|","type":"managedObject"}]}},"type":"objectRegistrationResponse"})";

TEST(ResponseDocuments, RegistrationIsItsRecordAloneAndBulkIsAList)
{
    const RegisteredObjects registered = {ObjectNamespace("A"),
                                          {ObjectNamespace("A"), ObjectNamespace("A", "b")}};
    EXPECT_EQ(registrationDocument(registered), REGISTERED);
    EXPECT_EQ(registrationsDocument({registered, registered}),
              "{\"data\":[" + REGISTERED + "," + REGISTERED + "]}");
}

TEST(ErrorDocuments, HaveCodeMessageAndDetailsWhenThereAreAny)
{
    EXPECT_EQ(errorResponse(400, 7610, "bad").body, R"({"errorCode":7610,"errorMessage":"bad"})");
    EXPECT_EQ(errorResponse(400, 7610, "bad", {"a", "b"}).body,
              R"({"errorCode":7610,"errorDetails":["a","b"],"errorMessage":"bad"})");
}

TEST(ErrorDocuments, AreJsonWhateverTheMessageHolds)
{
    EXPECT_EQ(errorResponse(500, 114, "a\xFF\n\"").body, R"({"errorCode":114,"errorMessage":"a?\n\""})");
}

TEST(ErrorDocuments, TellTheKindOfARefusal)
{
    const auto told = [](Refusal::Kind kind) {
        const ServiceResponse response = refusalResponse(Refusal(kind, "m", {"d"}));
        return std::to_string(response.status) + ' ' + response.body;
    };
    const auto expected = [](const char* status, const char* code) {
        return std::string(status) + R"( {"errorCode":)" + code +
               R"(,"errorDetails":["d"],"errorMessage":"m"})";
    };
    EXPECT_EQ(told(Refusal::Malformed), expected("400", "7610"));
    EXPECT_EQ(told(Refusal::WrongType), expected("400", "9103"));
    EXPECT_EQ(told(Refusal::Invalid), expected("400", "20"));
    EXPECT_EQ(told(Refusal::Unknown), expected("404", "20"));
    EXPECT_EQ(told(Refusal::Conflict), expected("409", "20"));
}

TEST(ErrorDocuments, TellAFailureOfTheDatabaseAndOfPublishingFromOthers)
{
    const auto told = [](const std::exception_ptr& error) {
        const ServiceResponse response = responseFor(error);
        return std::to_string(response.status) + ' ' + response.body;
    };
    EXPECT_EQ(told(std::make_exception_ptr(DatabaseError("no database"))),
              R"(500 {"errorCode":220,"errorMessage":"no database"})");
    EXPECT_EQ(told(std::make_exception_ptr(keepsafe_service::NotPublished("the change is stored"))),
              R"(503 {"errorCode":12,"errorMessage":"the change is stored"})");
    EXPECT_EQ(told(std::make_exception_ptr(std::runtime_error("no disk"))),
              R"(500 {"errorCode":114,"errorMessage":"no disk"})");
    EXPECT_EQ(told(std::make_exception_ptr(1)),
              R"(500 {"errorCode":114,"errorMessage":"the service has failed"})");
}

} // namespace
