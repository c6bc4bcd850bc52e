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
    R"(Delete an access definition of a managed object.

The id is that of 'ksrbac access list'. Prints nothing.

Exit status: 0 deleted, 2 usage error, 3 the service could not be reached or
refused: its message is printed; when the connection broke after the request was
sent, the access definition may be gone.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac access delete '|KEEPSAFE|ASSETS|' 21)";

struct Options {
    std::string object;
    std::string id;
};

ExitStatus run(const Options& options)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", options.object);
    const std::string id = requirePathPart("ID", options.id);
    askService("access delete " + object.str() + ' ' + id,
               [&] { Rbac::ManagedObjectAPI().delete_access_definition_by_id(object, id); });
    return ExitStatus::Good;
}

} // namespace

Action addAccessDelete(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addObject(command, options->object);
    addRequired(command, "ID", options->id, "ID", "Id of the access definition");
    return {[options](bool /*json*/, Console& /*console*/) { return run(*options); }};
}

} // namespace ksrbac
