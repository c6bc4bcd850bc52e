#include <memory>
#include <string>

#include <keepsafe/rbac/api/Roles.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "commands/roles.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Create a role.

The service chooses its id. Prints the new role as 'ksrbac role list' does. A
name has at most 64 bytes, a description at most 256.

Exit status: 0 created, 2 usage error, 3 the service could not be reached or
refused: its message is printed; when the connection broke after the request was
sent, the role may be there, 4 standard output could not be written: the role is
there.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac role create 'Restore operator' --description 'Restores assets')";

constexpr std::size_t LONGEST_NAME = 64; // less than for a changed one, as the service has it

struct Options {
    std::string name;
    std::string description;
};

ExitStatus run(const Options& options, bool json, Console& console)
{
    const std::string name = requireRoleName("NAME", options.name, LONGEST_NAME);
    const std::string description = requireRoleDescription(options.description);
    printRoles({askService("role create", [&] { return Rbac::RoleAPI().create_role(name, description); })},
               json, console);
    return ExitStatus::Good;
}

} // namespace

Action addRoleCreate(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRequired(command, "NAME", options->name, "NAME", "Name of the role");
    addOptional(command, "--description", options->description, "TEXT", "What the role is for");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
