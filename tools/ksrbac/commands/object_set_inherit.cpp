#include <memory>
#include <string>

#include <keepsafe/rbac/api/ManagedObjects.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Set whether grants on the objects above reach a managed object.

Prints nothing.

Exit status: 0 set, 2 usage error, 3 the service could not be reached or
refused: its message is printed; when the connection broke after the request was
sent, the change may have been made.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac object set-inherit '|KEEPSAFE|ASSETS|hr-prod|' off)";

struct Options {
    std::string object;
    std::string inherit;
};

ExitStatus run(const Options& options)
{
    const Rbac::ObjectNamespace name = parseNamespace("NS", options.object);
    const bool inherit = parseSwitch("INHERIT", options.inherit);
    askService("object set-inherit " + name.str(),
               [&] { Rbac::ManagedObjectAPI().set_inherit(name, inherit); });
    return ExitStatus::Good;
}

} // namespace

Action addObjectSetInherit(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addObject(command, options->object);
    addRequired(command, "INHERIT", options->inherit, value_name::SWITCH, "on or off");
    return {[options](bool /*json*/, Console& /*console*/) { return run(*options); }};
}

} // namespace ksrbac
