#include <list>
#include <string>

#include <keepsafe/rbac/api/Operations.h>

#include "commands/service_commands.h"
#include "output/Json.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

ExitStatus runOperationList(const OperationListOptions& options, bool json, Console& console)
{
    const std::list<Rbac::ObjectNamespace> operations =
        askService("operation list", [&] { return Rbac::OperationAPI().get_operations(options.filter); });
    if (!json) {
        console.print("OPERATION\n");
    }
    for (const Rbac::ObjectNamespace& operation : operations) {
        const std::string line =
            json ? JsonObject().add("operation", operation.str()).text() : operation.str();
        console.print(line + '\n');
    }
    return ExitStatus::Good;
}

} // namespace ksrbac
