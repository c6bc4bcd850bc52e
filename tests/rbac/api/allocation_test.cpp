/// The REST clients without memory and without a service: each allocation of each operation fails in turn,
/// and each operation's request in each way.

#include <functional>
#include <list>
#include <ostream>
#include <stdexcept>

#include <jansson.h>

#include <keepsafe/rbac/api/Changes.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Operations.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/api/Roles.h>

#include "rbac/api/FailingAllocation.h"
#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ChangeAPI;
using Tessara::Keepsafe::Rbac::json_namespaces_shared;
using Tessara::Keepsafe::Rbac::json_pack_shared;
using Tessara::Keepsafe::Rbac::ManagedObjectAPI;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationAPI;
using Tessara::Keepsafe::Rbac::Propagation;
using Tessara::Keepsafe::Rbac::Role;
using Tessara::Keepsafe::Rbac::RoleAPI;

using Factory = boost::shared_ptr<KSClientCURL_BaseFactory>;

struct Operation {
    std::string name;
    Response response;
    /// Makes the client; the result runs the operation and returns whether it gave what the response says.
    std::function<std::function<bool()>(const Factory&)> prepare;

    friend std::ostream& operator<<(std::ostream& stream, const Operation& operation)
    {
        return stream << operation.name;
    }
};

constexpr char ROLE[] = R"({"type":"accessControlRole","links":{"self":{"href":"/access-control/roles/17"}},)"
                        R"("id":"17","attributes":{"name":"a name longer than any buffer inside a string",)"
                        R"("description":"a description longer than any buffer inside a string"}})";
constexpr char DEFINITION[] =
    R"({"type":"accessDefinition","id":"d1","links":{"self":{"href":"/a/longer/link/than/a/buffer"}},)"
    R"("attributes":{"propagation":"OBJECT"},"relationships":{"role":{"data":{"type":"accessControlRole",)"
    R"("id":"17"}},"operations":{"data":[{"type":"accessControlOperation","id":"|OPERATIONS|VIEW|"},)"
    R"({"type":"accessControlOperation","id":"|OPERATIONS|MANAGE_ACCESS_OF_EVERYTHING|"}]},)"
    R"("managedObject":{"data":{"type":"managedObject","id":"|A|"}}}})";
constexpr char OBJECT[] = R"({"type":"managedObject","id":"|A|","attributes":)"
                          R"({"inherit":true,"state":"READY"}})";

constexpr char CHANGE[] =
    R"({"type":"change","id":"5-1","attributes":{"revision":5,"time":"2026-01-31T23:59:59.000001Z",)"
    R"("who":"CN=a","what":"accessDefinitionAdded","object":"|A|B|","roleId":7,"before":null,)"
    R"("after":{"id":"1","operations":["|OPERATIONS|VIEW|"]}}})";

std::string data(const std::string& value) { return R"({"data":)" + value + "}"; }
std::string list(const std::string& value) { return data('[' + value + ',' + value + ']'); }

bool isTheRole(const Role& role)
{
    return role.id == 17 && role.name.size() == 45 && !role.description.empty();
}

/// An operation of one of the clients; `work` gets the client.
template <typename Api, typename Work>
Operation operation(const std::string& name, const Response& response, const Work& work)
{
    return {name, response, [work](const Factory& factory) {
                const auto api = std::make_shared<Api>(factory);
                return [api, work] { return work(*api); };
            }};
}

Role aRole()
{
    Role role;
    role.id = 17;
    role.href = "/access-control/roles/17";
    role.name = "a name longer than any buffer inside a string";
    return role;
}

std::vector<Operation> operationsOfRoles()
{
    return {operation<RoleAPI>(
                "CreateRole", {0, 201, data(ROLE)},
                [](RoleAPI& api) { return isTheRole(api.create_role("a name", "a description")); }),
            operation<RoleAPI>("GetRole", {0, 200, data(ROLE)},
                               [](RoleAPI& api) { return isTheRole(api.get_role(17)); }),
            operation<RoleAPI>("GetRoles", {0, 200, list(ROLE)},
                               [](RoleAPI& api) {
                                   const auto roles = api.get_roles("name eq 'x'");
                                   return roles.size() == 2 && isTheRole(roles.back());
                               }),
            operation<RoleAPI>("UpdateRole", {0, 204, ""},
                               [role = aRole()](RoleAPI& api) {
                                   api.update_role(role);
                                   return true;
                               }),
            operation<RoleAPI>("DeleteRole", {0, 204, ""}, [](RoleAPI& api) {
                api.delete_role_by_id(17);
                return true;
            })};
}

std::vector<Operation> operationsOfObjects()
{
    const ObjectNamespace object("A");
    return {operation<ManagedObjectAPI>(
                "GetObject", {0, 200, data(OBJECT)},
                [object](ManagedObjectAPI& api) { return api.get_object(object).object == object; }),
            operation<ManagedObjectAPI>("SetInherit", {0, 204, ""},
                                        [object](ManagedObjectAPI& api) {
                                            api.set_inherit(object, true);
                                            return true;
                                        }),
            operation<ManagedObjectAPI>(
                "AddAccessDefinition", {0, 201, data(DEFINITION)},
                [object, role = aRole()](ManagedObjectAPI& api) {
                    const auto operations = json_pack_shared("[{s:s,s:s}]", "type", "accessControlOperation",
                                                             "id", "|OPERATIONS|VIEW|");
                    return api.add_access_definition(object, role, Propagation::OBJECT, operations)
                               .operations.size() == 2;
                }),
            operation<ManagedObjectAPI>("GetAccessDefinitions", {0, 200, list(DEFINITION)},
                                        [object](ManagedObjectAPI& api) {
                                            const auto definitions = api.get_access_definitions(object);
                                            return definitions.size() == 2 &&
                                                   definitions.back().operations.size() == 2;
                                        }),
            operation<ManagedObjectAPI>("DeleteAccessDefinition", {0, 204, ""},
                                        [object](ManagedObjectAPI& api) {
                                            api.delete_access_definition_by_id(object, "17");
                                            return true;
                                        }),
            operation<OperationAPI>(
                "GetOperations", {0, 200, list(R"({"type":"accessControlOperation","id":"|O|VIEW|"})")},
                [](OperationAPI& api) { return api.get_operations("name eq 'x'").size() == 2; }),
            operation<ChangeAPI>("GetChanges", {0, 200, list(CHANGE)}, [](ChangeAPI& api) {
                const auto changes = api.get_changes({}).changes;
                return changes.size() == 2 && changes.back().before == "null" &&
                       changes.back().after == R"({"id":"1","operations":["|OPERATIONS|VIEW|"]})";
            })};
}

std::vector<Operation> allOperations()
{
    std::vector<Operation> operations = operationsOfRoles();
    for (Operation& next : operationsOfObjects()) {
        operations.push_back(std::move(next));
    }
    return operations;
}

class RestCallFaults : public testing::TestWithParam<Operation> {
protected:
    enum Outcome { RIGHT, WRONG, STANDARD_EXCEPTION };

    /// What comes of the operation while the allocation of the number fails.
    static Outcome runWithout(int number, const std::function<bool()>& work)
    {
        const FailingAllocation failing(number);
        try {
            return work() ? RIGHT : WRONG;
        } catch (const std::exception&) {
            return STANDARD_EXCEPTION;
        }
    }

    /// Fails each allocation in turn, with this response; returns how many runs ended with an exception.
    int failEachAllocation(const Response& response, Outcome withMemory) const
    {
        int failures = 0;
        for (int number = 0;; ++number) {
            const auto service = boost::make_shared<ScriptedService>();
            service->responses.push_back(response);
            const Outcome outcome = runWithout(number, GetParam().prepare(service));
            EXPECT_EQ(service->living, 0) << number;
            if (!FailingAllocation::happened()) {
                EXPECT_EQ(outcome, withMemory);
                return failures;
            }
            EXPECT_TRUE(outcome == STANDARD_EXCEPTION || outcome == withMemory) << number << ' ' << outcome;
            failures += outcome == STANDARD_EXCEPTION ? 1 : 0;
        }
    }

    const NamedMasterServerRoot root_;
    DiscardedLog log_;
};

TEST_P(RestCallFaults, AMissingAllocationIsAnExceptionAndLeaksNothing)
{
    EXPECT_GT(failEachAllocation(GetParam().response, RIGHT), 3);
}

TEST_P(RestCallFaults, ARefusalIsAnExceptionAlsoWithoutMemory)
{
    const Response refusal{0, 409, R"({"errorCode":5930,"errorMessage":"no","errorDetails":["a","b"]})"};
    EXPECT_GT(failEachAllocation(refusal, STANDARD_EXCEPTION), 3);
}

TEST_P(RestCallFaults, WhateverAClientOrItsFactoryThrowsPasses)
{
    const auto service = boost::make_shared<ScriptedService>();
    const auto work = GetParam().prepare(service);
    service->responses = {{0, 0, "", std::make_exception_ptr(EC_exception(31))},
                          {0, 0, "", std::make_exception_ptr(std::runtime_error("why"))},
                          {0, 0, "", std::make_exception_ptr(7)},
                          {28, 0, ""}};
    EXPECT_EQ(thrownStatus(work), 31);
    EXPECT_THROW(work(), std::runtime_error);
    EXPECT_THROW(work(), int);
    EXPECT_EQ(thrownStatus(work), 28);
    service->onCreate = []() -> KSClientCURL_Base* { throw std::logic_error("none"); };
    EXPECT_THROW(work(), std::logic_error);
    service->onCreate = []() -> KSClientCURL_Base* { return nullptr; };
    EXPECT_EQ(thrownStatus(work), 114);
    EXPECT_EQ(service->living, 0);
}

TEST(NamespacesInJson, AreAnExceptionWithoutMemoryAndNeverSomeOfThem)
{
    const std::list<ObjectNamespace> names(20, ObjectNamespace("A"));
    int failures = 0;
    for (int number = 0;; ++number) {
        boost::shared_ptr<json_t> array;
        try {
            const FailingAllocation failing(number);
            array = json_namespaces_shared(names);
        } catch (const std::exception&) {
            ++failures;
        }
        if (!FailingAllocation::happened()) {
            EXPECT_EQ(json_array_size(array.get()), names.size());
            break;
        }
        EXPECT_EQ(array == nullptr ? names.size() : json_array_size(array.get()), names.size()) << number;
    }
    EXPECT_GT(failures, 20);
}

INSTANTIATE_TEST_SUITE_P(OfEach, RestCallFaults, testing::ValuesIn(allOperations()),
                         [](const auto& instance) { return instance.param.name; });

} // namespace
} // namespace keepsafe_test
