#include "cli/options.h"
#include "commands/commands.h"
#include "commands/host_operations.h"

namespace ksrbac {

namespace {

constexpr char DESCRIPTION[] =
    R"(List the operations of the operation cache.

Another name of 'ksrbac operation list --host'.

Exit status: 0 listed, 2 usage error, 3 the library reported a status or failed,
4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac operations --json)";

} // namespace

Action addOperations(CLI::App& command)
{
    describe(command, DESCRIPTION, EXAMPLE);
    return {[](bool json, Console& console) {
        printHostOperations(json, console);
        return ExitStatus::Good;
    }};
}

} // namespace ksrbac
