// Roles and operations: what access definitions are made of.

#include <algorithm>
#include <iterator>

#include "resources/Filter.h"
#include "resources/Router.h"
#include "resources/request_documents.h"
#include "resources/response_documents.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

std::string fieldOf(const RoleRecord& role, std::size_t field)
{
    switch (field) {
    case 0:
        return std::to_string(role.id);
    case 1:
        return role.name;
    default:
        return role.description;
    }
}

/// The last component, as in the text form.
std::string lastComponent(const ObjectNamespace& ns)
{
    const std::string& text = ns.str();
    if (ns.is_root()) {
        return "";
    }
    const std::size_t begin = text.rfind('|', text.size() - 2) + 1;
    return text.substr(begin, text.size() - 1 - begin);
}

std::string fieldOf(const ObjectNamespace& operation, std::size_t field)
{
    return field == 0 ? operation.str() : lastComponent(operation);
}

template <typename Record>
std::vector<Record> filtered(const std::vector<Record>& records, const RequestTarget& target,
                             const std::vector<std::string>& fields)
{
    const std::optional<std::string> text = target.filter();
    if (!text) {
        return records;
    }
    const Filter filter = Filter::parse(*text, fields);
    std::vector<Record> chosen;
    std::copy_if(records.begin(), records.end(), std::back_inserter(chosen), [&filter](const Record& record) {
        return filter.matches([&record](std::size_t field) { return fieldOf(record, field); });
    });
    return chosen;
}

ServiceResponse getRoles(const ResourceCall& call)
{
    return {200,
            rolesDocument(filtered(call.accessControl.roles(), call.target, {"id", "name", "description"})),
            ""};
}

ServiceResponse createRole(const ResourceCall& call)
{
    call.target.expectNoQuery();
    const RoleText text = readRole(call.body);
    return {201, roleDocument(call.accessControl.createRole(text.name, text.description, call.client)), ""};
}

std::int32_t roleId(const ResourceCall& call)
{
    call.target.expectNoQuery();
    return idOf(call.names[0], "the role's id");
}

ServiceResponse getRole(const ResourceCall& call)
{
    return {200, roleDocument(call.accessControl.role(roleId(call))), ""};
}

ServiceResponse updateRole(const ResourceCall& call)
{
    const std::int32_t id = roleId(call);
    const RoleText text = readRole(call.body);
    call.accessControl.updateRole(id, text.name, text.description, call.client);
    return {204, "", ""};
}

ServiceResponse deleteRole(const ResourceCall& call)
{
    call.accessControl.deleteRole(roleId(call), call.client);
    return {204, "", ""};
}

ServiceResponse getOperations(const ResourceCall& call)
{
    return {200, operationsDocument(filtered(call.accessControl.operations(), call.target, {"id", "name"})),
            ""};
}

} // namespace

std::vector<Route> roleRoutes()
{
    return {{"GET", {"roles"}, getRoles},           {"POST", {"roles"}, createRole},
            {"GET", {"roles", "*"}, getRole},       {"PUT", {"roles", "*"}, updateRole},
            {"DELETE", {"roles", "*"}, deleteRole}, {"GET", {"operations"}, getOperations}};
}

} // namespace keepsafe_service
