#include <memory>
#include <optional>
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
    R"(Change the name or the description of a role.

Reads the role, which is given by its id or by its name, and sends it back
changed; everything else is unchanged. A change that somebody else makes between
the two requests is lost. Name and description may have 256 bytes each; an empty
description removes the role's description. Prints nothing.

Exit status: 0 changed, 2 usage error, 3 the service could not be reached or
refused: its message is printed; when the connection broke after the change was
sent, it may have been made.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac role update 17 --name 'Restore operators'
  ksrbac role update 'Restore operator' --description='')";

constexpr std::size_t LONGEST_NAME = 256; // more than for a new one, as the service has it

struct Options {
    std::string role;
    std::optional<std::string> name;
    std::optional<std::string> description; ///< empty: removes the description
};

ExitStatus run(const Options& options)
{
    if (!options.name && !options.description) {
        throw UsageError("role update: give --name, --description or both");
    }
    if (options.name) {
        requireRoleName("--name", *options.name, LONGEST_NAME);
    }
    if (options.description) {
        requireRoleDescription(*options.description);
    }
    RoleNames names("role update");
    const int id = readServiceRole(names, "ROLE", options.role);
    askService("role update " + std::to_string(id), [&] {
        const Rbac::RoleAPI roles;
        Rbac::Role role = roles.get_role(id);
        // The library sends the change to this link, wherever it leads.
        if (role.href.empty()) {
            throw ServiceError("the service gave no link to the role, so that it cannot be changed");
        }
        role.name = options.name.value_or(role.name);
        role.description = options.description.value_or(role.description);
        roles.update_role(role);
    });
    return ExitStatus::Good;
}

} // namespace

Action addRoleUpdate(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRole(command, options->role);
    addOptional(command, "--name", options->name, "NAME", "The new name");
    addOptional(command, "--description", options->description, "TEXT", "The new description");
    return {[options](bool /*json*/, Console& /*console*/) { return run(*options); }};
}

} // namespace ksrbac
