#include <set>
#include <string>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

#include "commands/commands.h"
#include "io/token_file.h"
#include "output/Json.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
namespace Status = Tessara::Keepsafe::Status;

ExitStatus runTokenRoles(const TokenRolesOptions& options, bool json, Console& console)
{
    std::set<int> roleIds;
    const int status = Rbac::JWTHandler().getRoleIds(nullptr, readToken(options.tokenFile), roleIds);
    if (status != Status::SUCCESS) {
        throw EC_exception(status);
    }
    JsonArray list;
    for (const int roleId : roleIds) {
        if (json) {
            list.addJson(std::to_string(roleId));
        } else {
            console.print(std::to_string(roleId) + '\n');
        }
    }
    if (json) {
        console.print(JsonObject().addJson("roles", list.text()).text() + '\n');
    }
    return ExitStatus::Good;
}

} // namespace ksrbac
