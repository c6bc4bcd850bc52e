#include "commands/roles.h"

#include <cstdint>

#include "cli/arguments.h"
#include "exit_status.h"
#include "output/Listing.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr std::size_t LONGEST_DESCRIPTION = 256;

using Align = TextTable::Align;
using Role = Rbac::Role;

} // namespace

void printRoles(const std::list<Role>& roles, bool json, Console& console)
{
    const Listing<Role> listing{
        {{"ID", Align::Right, [](const Role& role) { return std::to_string(role.id); }},
         {"NAME", Align::Left,
          [](const Role& role) { return escapeForMessage(role.name, role.name.size()); }},
         {"SYSTEM", Align::Left,
          [](const Role& role) { return std::string(role.systemDefined ? "yes" : "no"); }},
         {"DESCRIPTION", Align::Left,
          [](const Role& role) { return escapeForMessage(role.description, role.description.size()); }}},
        [](const Role& role) {
            return JsonObject()
                .add("id", std::int64_t{role.id})
                .add("name", role.name)
                .add("description", role.description)
                .add("systemDefined", role.systemDefined);
        }};
    listing.print(roles, json, console);
}

std::string requireRoleName(const std::string& name, const std::string& text, std::size_t longest)
{
    if (text.empty()) {
        throw InputError(name + ": a role needs a name");
    }
    return requireText(name, text, longest);
}

std::string requireRoleDescription(const std::string& text)
{
    return requireText("--description", text, LONGEST_DESCRIPTION);
}

} // namespace ksrbac
