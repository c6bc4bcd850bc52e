#include <memory>
#include <string>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/access_definitions.h"
#include "commands/commands.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the access definitions of a managed object.

Those on the object itself; grants that reach it from above are on the objects
above. Prints a table, or with --json one object per line: {"id":...,
"object":...,"roleId":...,"roleName":..., "propagation":...,"operations":[...]}.
A role that the service does not name has no name there.

Exit status: 0 listed, 2 usage error, 3 the service could not be reached or
refused: its message is printed, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac access list --json '|KEEPSAFE|ASSETS|')";

ExitStatus run(const std::string& text, bool json, Console& console)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", text);
    const auto definitions = askService("access list " + object.str(), [&] {
        return Rbac::ManagedObjectAPI().get_access_definitions(object);
    });
    RoleNames names("access list");
    printAccessDefinitions(definitions, names, json, console);
    return ExitStatus::Good;
}

} // namespace

Action addAccessList(CLI::App& command)
{
    const auto object = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addObject(command, *object);
    return {[object](bool json, Console& console) { return run(*object, json, console); }};
}

} // namespace ksrbac
