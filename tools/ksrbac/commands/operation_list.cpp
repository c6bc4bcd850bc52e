#include <memory>
#include <optional>
#include <string>

#include <keepsafe/rbac/api/Operations.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "commands/host_operations.h"
#include "output/Listing.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the operations that the service or this host knows.

Without --host the access-control service is asked. The filter is the service's:
startswith(id,'|OPERATIONS|V') and the like. With --json it prints one object
per line: {"operation":...}.

With --host nobody is asked: it prints each operation in the operation cache,
the file that checks on this host use, with its permission bit, by bit. The
service may know operations that this host has not heard of yet. With --json:
{"operation":...,"bit":...}.

Exit status: 0 listed, 2 usage error, 3 the service could not be reached or
refused: its message is printed; the library reported a status or failed, 4
standard output could not be written.)";

constexpr char EXAMPLE[] = R"help(Examples:
  ksrbac operation list
  ksrbac operation list --host
  ksrbac operation list --filter "startswith(id,'|OPERATIONS|VIEW')")help";

struct Options {
    std::optional<std::string> filter;
    bool host = false;
};

void printServiceOperations(const std::string& filter, bool json, Console& console)
{
    using Operation = Rbac::ObjectNamespace;
    const Listing<Operation> listing{
        {{"OPERATION", TextTable::Align::Left, [](const Operation& operation) { return operation.str(); }}},
        [](const Operation& operation) { return JsonObject().add("operation", operation.str()); }};
    listing.print(askService("operation list", [&] { return Rbac::OperationAPI().get_operations(filter); }),
                  json, console);
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    if (!options.host) {
        printServiceOperations(options.filter.value_or(""), json, console);
    } else if (options.filter) {
        throw InputError("operation list: --filter is for the service, which --host does not ask");
    } else {
        printHostOperations(json, console);
    }
    return ExitStatus::Good;
}

} // namespace

Action addOperationList(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addFlag(command, "--host", options->host, "List those that checks on this host know");
    addFilter(command, "operations", options->filter);
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
