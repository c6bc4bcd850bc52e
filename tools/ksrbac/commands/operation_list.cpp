#include <memory>
#include <string>

#include <keepsafe/rbac/api/Operations.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "output/Listing.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the operations that the access-control service knows.

The filter is the service's: startswith(id,'|OPERATIONS|V') and the like. With
--json one object per line: {"operation":...}. 'ksrbac operations' lists what
checks on this host know, with permission bits, and asks nobody.

Exit status: 0 listed, 2 usage error, 3 the service could not be reached or
refused: its message is printed, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"help(Examples:
  ksrbac operation list
  ksrbac operation list --filter "startswith(id,'|OPERATIONS|VIEW')")help";

ExitStatus run(const std::string& filter, bool json, Console& console)
{
    using Operation = Rbac::ObjectNamespace;
    const Listing<Operation> listing{
        {{"OPERATION", TextTable::Align::Left, [](const Operation& operation) { return operation.str(); }}},
        [](const Operation& operation) { return JsonObject().add("operation", operation.str()); }};
    listing.print(askService("operation list", [&] { return Rbac::OperationAPI().get_operations(filter); }),
                  json, console);
    return ExitStatus::Good;
}

} // namespace

Action addOperationList(CLI::App& command)
{
    const auto filter = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addFilter(command, "operations", *filter);
    return {[filter](bool json, Console& console) { return run(*filter, json, console); }};
}

} // namespace ksrbac
