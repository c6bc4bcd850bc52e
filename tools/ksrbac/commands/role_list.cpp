#include <memory>
#include <optional>
#include <string>

#include <keepsafe/rbac/api/Roles.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "commands/roles.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the roles of the access-control service.

Prints a table, or with --json one object per line: {"id":...,"name":...,
"description":...,"systemDefined":...}. A role that is system-defined belongs to
the product. The filter is the service's: name eq 'x', contains(name,'x') and
the like.

Exit status: 0 listed, 2 usage error, 3 the service could not be reached or
refused: its message is printed, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"help(Examples:
  ksrbac role list
  ksrbac role list --json --filter "contains(name,'operator')")help";

ExitStatus run(const std::optional<std::string>& filter, bool json, Console& console)
{
    printRoles(askService("role list", [&] { return Rbac::RoleAPI().get_roles(filter.value_or("")); }), json,
               console);
    return ExitStatus::Good;
}

} // namespace

Action addRoleList(CLI::App& command)
{
    const auto filter = std::make_shared<std::optional<std::string>>();
    describe(command, DESCRIPTION, EXAMPLE);
    addFilter(command, "roles", *filter);
    return {[filter](bool json, Console& console) { return run(*filter, json, console); }};
}

} // namespace ksrbac
