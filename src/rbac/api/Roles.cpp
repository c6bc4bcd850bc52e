#include <keepsafe/rbac/api/Roles.h>

#include <cstddef>
#include <stdexcept>

#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "document.h"
#include "requests.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char ROLE_TAG[] = "Role::Role";
constexpr char ROLES[] = "keepsafe/access-control/roles";
constexpr char TYPE[] = "accessControlRole";

constexpr std::size_t LONGEST_NAME_CREATED = 64;
constexpr std::size_t LONGEST_NAME_UPDATED = 256;
constexpr std::size_t LONGEST_DESCRIPTION = 256;

void checkLimits(const std::string& name, const std::string& description, std::size_t longestName)
{
    if (name.size() > longestName) {
        throw std::length_error("limit for role name is " + std::to_string(longestName));
    }
    if (description.size() > LONGEST_DESCRIPTION) {
        throw std::length_error("limit for role description is " + std::to_string(LONGEST_DESCRIPTION));
    }
    if (name.empty()) {
        throw std::invalid_argument("role name is required");
    }
    requireNoZeroByte(name, "role name");
    requireNoZeroByte(description, "role description");
}

std::string requestDocument(const std::string& name, const std::string& description)
{
    const boost::shared_ptr<json_t> document =
        json_pack_shared("{s:{s:s, s:{s:s, s:s*}}}", "data", "type", TYPE, "attributes", "name", name.c_str(),
                         "description", description.empty() ? nullptr : description.c_str());
    return json_dumps_shared(document).get();
}

int toRoleId(const char* text)
{
    const std::string invalid = std::string("Invalid role ID in response: ") + text;
    int id = 0;
    try {
        id = boost::lexical_cast<int>(text);
    } catch (const boost::bad_lexical_cast& error) {
        diagnostics::fail(Status::UNEXPECTED_RESPONSE, ROLE_TAG, invalid + " (" + error.what() + ')');
    }
    if (id < 0) {
        diagnostics::fail(Status::UNEXPECTED_RESPONSE, ROLE_TAG, invalid);
    }
    return id;
}

Role readRole(const std::string& body, const char* tag)
{
    const boost::shared_ptr<json_t> document = json_loads_shared(body);
    return Role(requireData(document.get(), tag));
}

std::string rolePath(int id) { return std::string(ROLES) + '/' + std::to_string(id); }

} // namespace

Role::Role(const json_t* resource)
{
    const char* type = nullptr;
    const char* link = nullptr;
    const char* idText = nullptr;
    const char* nameText = nullptr;
    const char* descriptionText = nullptr;
    int isSystemDefined = 0;
    json_error_t error;
    if (json_unpack_ex(const_cast<json_t*>(resource), &error, 0,
                       "{s:s, s?:{s:{s:s}}, s:s, s:{s:s, s?:s, s?:b}}", "type", &type, "links", "self",
                       "href", &link, "id", &idText, "attributes", "name", &nameText, "description",
                       &descriptionText, "systemDefined", &isSystemDefined) != 0) {
        rejectForm(error, ROLE_TAG);
    }
    requireType(type, TYPE, ROLE_TAG);
    if (link != nullptr) {
        href = link;
    }
    id = toRoleId(idText);
    name = nameText;
    if (descriptionText != nullptr) {
        description = descriptionText;
    }
    systemDefined = isSystemDefined != 0;
}

Role RoleAPI::create_role(const std::string& name, const std::string& description) const
{
    constexpr char TAG[] = "RoleAPI::create_role";
    checkLimits(name, description, LONGEST_NAME_CREATED);
    return readRole(post(*this, TAG, ROLES, requestDocument(name, description)), TAG);
}

Role RoleAPI::get_role(int id) const
{
    constexpr char TAG[] = "RoleAPI::get_role";
    return readRole(get(*this, TAG, rolePath(id)), TAG);
}

std::list<Role> RoleAPI::get_roles(const std::string& filter) const
{
    constexpr char TAG[] = "RoleAPI::get_roles";
    const boost::shared_ptr<json_t> document = json_loads_shared(get(*this, TAG, withFilter(ROLES, filter)));
    const json_t* const data = requireData(document.get(), TAG);
    std::list<Role> roles;
    for (std::size_t index = 0; index < json_array_size(data); ++index) {
        roles.emplace_back(json_array_get(data, index));
    }
    return roles;
}

void RoleAPI::update_role(const Role& role) const
{
    checkLimits(role.name, role.description, LONGEST_NAME_UPDATED);
    requireNoZeroByte(role.href, "role link");
    const std::string path = "keepsafe" + role.href;
    const std::string body = requestDocument(role.name, role.description);
    change(*this, "RoleAPI::update_role", path,
           [&](KSClientCURL_Base& curl) { return curl.Put(path, body); });
}

void RoleAPI::delete_role_by_id(int id) const
{
    const std::string path = rolePath(id);
    change(*this, "RoleAPI::delete_role_by_id", path,
           [&](KSClientCURL_Base& curl) { return curl.Delete(path); });
}

} // namespace Tessara::Keepsafe::Rbac
