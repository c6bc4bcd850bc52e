#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

#include <keepsafe/rbac/api/Roles.h>

#include "cli/arguments.h"
#include "commands/service_commands.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "output/escape.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

// What the service takes, in bytes. They differ on purpose.
constexpr std::size_t LONGEST_NEW_NAME = 64;
constexpr std::size_t LONGEST_CHANGED_NAME = 256;
constexpr std::size_t LONGEST_DESCRIPTION = 256;

std::string requireName(const std::string& name, const std::string& text, std::size_t longest)
{
    if (text.empty()) {
        throw InputError(name + ": a role needs a name");
    }
    return requireText(name, text, longest);
}

std::string rolesTable(const std::list<Rbac::Role>& roles)
{
    using Align = TextTable::Align;
    TextTable table({Align::Right, Align::Left, Align::Left, Align::Left});
    table.addRow({"ID", "NAME", "SYSTEM", "DESCRIPTION"});
    for (const Rbac::Role& role : roles) {
        table.addRow({std::to_string(role.id), escapeForMessage(role.name, role.name.size()),
                      role.systemDefined ? "yes" : "no",
                      escapeForMessage(role.description, role.description.size())});
    }
    return table.text();
}

void print(const std::list<Rbac::Role>& roles, bool json, Console& console)
{
    if (!json) {
        console.print(rolesTable(roles));
        return;
    }
    for (const Rbac::Role& role : roles) {
        console.print(JsonObject()
                          .add("id", std::int64_t{role.id})
                          .add("name", role.name)
                          .add("description", role.description)
                          .add("systemDefined", role.systemDefined)
                          .text() +
                      '\n');
    }
}

} // namespace

ExitStatus runRoleList(const RoleListOptions& options, bool json, Console& console)
{
    print(askService("role list", [&] { return Rbac::RoleAPI().get_roles(options.filter); }), json, console);
    return ExitStatus::Good;
}

ExitStatus runRoleGet(const RoleGetOptions& options, bool json, Console& console)
{
    const int id = parseServiceRoleId("ID", options.id);
    print({askService("role get " + std::to_string(id), [id] { return Rbac::RoleAPI().get_role(id); })}, json,
          console);
    return ExitStatus::Good;
}

ExitStatus runRoleCreate(const RoleCreateOptions& options, bool json, Console& console)
{
    const std::string name = requireName("NAME", options.name, LONGEST_NEW_NAME);
    const std::string description = requireText("--description", options.description, LONGEST_DESCRIPTION);
    print({askService("role create", [&] { return Rbac::RoleAPI().create_role(name, description); })}, json,
          console);
    return ExitStatus::Good;
}

ExitStatus runRoleUpdate(const RoleUpdateOptions& options)
{
    const int id = parseServiceRoleId("ID", options.id);
    if (!options.name && !options.description) {
        throw InputError("role update: give --name, --description or both");
    }
    if (options.name) {
        requireName("--name", *options.name, LONGEST_CHANGED_NAME);
    }
    if (options.description) {
        requireText("--description", *options.description, LONGEST_DESCRIPTION);
    }
    const std::string question = "role update " + std::to_string(id);
    askService(question, [&] {
        const Rbac::RoleAPI roles;
        Rbac::Role role = roles.get_role(id);
        // The library would send the change to the link that is there, wherever that leads.
        if (role.href.empty()) {
            throw ServiceError("the service gave no link to the role, so that it cannot be changed");
        }
        role.name = options.name.value_or(role.name);
        role.description = options.description.value_or(role.description);
        roles.update_role(role);
    });
    return ExitStatus::Good;
}

ExitStatus runRoleDelete(const RoleDeleteOptions& options)
{
    const int id = parseServiceRoleId("ID", options.id);
    askService("role delete " + std::to_string(id), [id] { Rbac::RoleAPI().delete_role_by_id(id); });
    return ExitStatus::Good;
}

} // namespace ksrbac
