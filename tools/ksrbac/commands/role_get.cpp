#include <memory>
#include <string>

#include <keepsafe/rbac/api/Roles.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "commands/roles.h"
#include "service/RoleNames.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Show a role of the access-control service.

It is given by its id or by its name. Prints it as 'ksrbac role list' does.

Exit status: 0 shown, 2 usage error, 3 the service could not be reached or
refused: its message is printed, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac role get 17
  ksrbac role get 'Restore operator')";

ExitStatus run(const std::string& role, bool json, Console& console)
{
    RoleNames names("role get");
    const int id = readServiceRole(names, "ROLE", role);
    printRoles({askService("role get " + std::to_string(id), [id] { return Rbac::RoleAPI().get_role(id); })},
               json, console);
    return ExitStatus::Good;
}

} // namespace

Action addRoleGet(CLI::App& command)
{
    const auto role = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRole(command, *role);
    return {[role](bool json, Console& console) { return run(*role, json, console); }};
}

} // namespace ksrbac
