#ifndef KEEPSAFE_TESTS_RBAC_API_MANAGEDOBJECTAPITEST_H
#define KEEPSAFE_TESTS_RBAC_API_MANAGEDOBJECTAPITEST_H

#include <string>

#include <keepsafe/rbac/api/ManagedObjects.h>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {

using Tessara::Keepsafe::Rbac::AccessDefinition;
using Tessara::Keepsafe::Rbac::ManagedObjectAPI;
using Tessara::Keepsafe::Rbac::ManagedObjectResource;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Propagation;
using Tessara::Keepsafe::Rbac::Role;

/// An access definition whose parts a test can replace.
struct DefinitionText {
    std::string links = R"("links":{"self":{"href":"/access-definitions/d1"}},)";
    std::string id = R"("id":"d1",)";
    std::string type = "accessDefinition";
    std::string propagation = "CHILDREN";
    std::string roleId = "17";
    std::string roleType = "accessControlRole";
    std::string operations = R"([{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"},)"
                             R"({"id":"|OPERATIONS|ADD|","type":"accessControlOperation"}])";
    std::string objectId = "|A|";
    std::string objectType = "managedObject";

    [[nodiscard]] std::string str() const
    {
        return "{" + links + id + R"("type":")" + type + R"(","attributes":{"propagation":")" + propagation +
               R"("},"relationships":{"role":{"data":{"id":")" + roleId + R"(","type":")" + roleType +
               R"("}},"operations":{"data":)" + operations + R"(},"managedObject":{"data":{"id":")" +
               objectId + R"(","type":")" + objectType + R"("}}}})";
    }
};

class ManagedObjectApiTest : public ApiTest<ManagedObjectAPI> {
protected:
    ManagedObjectResource receive(const std::string& resource)
    {
        respond(200, document(resource));
        return api().get_object(object_);
    }

    int statusOf(const std::string& resource)
    {
        return thrownStatus([&] { (void)receive(resource); });
    }

    AccessDefinition receive(const DefinitionText& definition)
    {
        respond(200, document("[" + definition.str() + "]"));
        return api().get_access_definitions(object_).front();
    }

    int statusOf(const DefinitionText& definition)
    {
        return thrownStatus([&] { (void)receive(definition); });
    }

    AccessDefinition add(Propagation propagation, const boost::shared_ptr<json_t>& operations)
    {
        Role role;
        role.id = 17;
        role.name = "of no account";
        return api().add_access_definition(object_, role, propagation, operations);
    }

    ObjectNamespace object_{"A b"};
};

} // namespace keepsafe_test

#endif
