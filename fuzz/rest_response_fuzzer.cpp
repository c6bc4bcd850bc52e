// The input as the response to a request of a REST client: the first byte chooses the operation, its highest
// bit whether the service answers with the expected HTTP status or with an error. The result is valid records
// or one of the documented exceptions.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Operations.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/api/Roles.h>

#include "MasterServerRoot.h"
#include "require.h"
#include "support/FakeHttpClients.h"

namespace {

using namespace Tessara::Keepsafe::Rbac;

/// Answers every request with one body, and with the HTTP status that its method wants or with an error.
class OneResponse : public keepsafe_test::FakeHttpClients {
public:
    OneResponse(std::string body, bool isError) : body_(std::move(body)), isError_(isError) {}

private:
    keepsafe_test::Response answer(const keepsafe_test::Request& request, int /*apiVersion*/) override
    {
        const long wanted = request.method == "GET" ? 200 : request.method == "POST" ? 201 : 204;
        return {0, isError_ ? 409 : wanted, body_};
    }

    std::string body_;
    bool isError_;
};

void requireName(const ObjectNamespace& name)
{
    require(boost::lexical_cast<ObjectNamespace>(boost::lexical_cast<std::string>(name)) == name,
            "a name survives its text form");
}

void check(const Role& role) { require(role.id >= 0, "a role's id is never negative"); }

void check(const ManagedObjectResource& resource)
{
    require(resource.state == READY || resource.state == PENDING, "an object is ready or pending");
    require(resource.href.empty(), "an object's links are not read");
    requireName(resource.object);
}

void check(const AccessDefinition& definition)
{
    require(!boost::lexical_cast<std::string>(definition.propagation).empty(), "a propagation has a name");
    requireName(definition.managedObject);
    for (const ObjectNamespace& operation : definition.operations) {
        requireName(operation);
    }
}

template <typename List>
void checkAll(const List& records)
{
    for (const auto& record : records) {
        check(record);
    }
}

void run(unsigned operation, const boost::shared_ptr<KSClientCURL_BaseFactory>& service)
{
    const ObjectNamespace object("A");
    switch (operation % 7) {
    case 0:
        check(RoleAPI(service).get_role(17));
        break;
    case 1:
        checkAll(RoleAPI(service).get_roles(""));
        break;
    case 2:
        check(RoleAPI(service).create_role("name", ""));
        break;
    case 3:
        check(ManagedObjectAPI(service).get_object(object));
        break;
    case 4:
        checkAll(ManagedObjectAPI(service).get_access_definitions(object));
        break;
    case 5:
        check(ManagedObjectAPI(service).add_access_definition(object, Role(), Propagation::OBJECT,
                                                              json_array_shared()));
        break;
    default:
        for (const ObjectNamespace& name : OperationAPI(service).get_operations("")) {
            requireName(name);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const MasterServerRoot root;
    if (size == 0) {
        return 0;
    }
    const bool isError = (data[0] & 0x80U) != 0;
    const auto service = boost::make_shared<OneResponse>(std::string(data + 1, data + size), isError);
    bool returned = false;
    try {
        run(data[0] & 0x7FU, service);
        returned = true;
    } catch (const EC_exception&) {
    } catch (const boost::bad_lexical_cast&) {
        require(!isError, "an error of the service is a status");
    }
    require(!(returned && isError), "an error of the service is never a record");
    return 0;
}
