#include <memory>
#include <string>

#include <keepsafe/rbac/api/Roles.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "service/RoleNames.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Delete a role with its access definitions.

It is given by its id or by its name. Prints nothing.

Exit status: 0 deleted, 2 usage error, 3 the service could not be reached or
refused: its message is printed; when the connection broke after the request was
sent, the role may be gone.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac role delete 17)";

ExitStatus run(const std::string& role)
{
    RoleNames names("role delete");
    const int id = readServiceRole(names, "ROLE", role);
    askService("role delete " + std::to_string(id), [id] { Rbac::RoleAPI().delete_role_by_id(id); });
    return ExitStatus::Good;
}

} // namespace

Action addRoleDelete(CLI::App& command)
{
    const auto role = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRole(command, *role);
    return {[role](bool /*json*/, Console& /*console*/) { return run(*role); }};
}

} // namespace ksrbac
