#include <memory>
#include <set>
#include <string>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "io/token_file.h"
#include "output/Json.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
namespace Status = Tessara::Keepsafe::Status;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the role ids of a session token's owner.

Verifies the token, looks the authorization token that belongs to it up in the
database and prints the role ids in it, one per line.

Exit status: 0 listed, 2 usage error or a file that cannot be read, 3 the
library reported a status: 8002 not valid, 8001 expired, 117 not known to the
database, 220 the database cannot be asked, or another, 4 standard output could
not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac token roles token)";

ExitStatus run(const std::string& tokenFile, bool json, Console& console)
{
    std::set<int> roleIds;
    const int status = Rbac::JWTHandler().getRoleIds(nullptr, readToken(tokenFile), roleIds);
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

} // namespace

Action addTokenRoles(CLI::App& command)
{
    const auto tokenFile = std::make_shared<std::string>();
    describe(command, DESCRIPTION, EXAMPLE);
    addTokenFile(command, *tokenFile);
    return {[tokenFile](bool json, Console& console) { return run(*tokenFile, json, console); }};
}

} // namespace ksrbac
