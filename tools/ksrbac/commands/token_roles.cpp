#include <memory>
#include <set>
#include <string>

#include <keepsafe/jwt/JWTHandler.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "configuration.h"
#include "io/token_file.h"
#include "log/HeardErrors.h"
#include "output/Json.h"
#include "service/RoleNames.h"
#include "token/token_status.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the role ids of a session token's owner.

Verifies the token, looks the authorization token that belongs to it up in the
database and prints the role ids in it, one per line; with --role-names each with
a tab and its name, where the service has one. With --json it prints
{"roles":[...]}, and then "roleNames" with the names by id.

Exit status: 0 listed, 2 usage error or a file that cannot be read, 3 the
library reported a status: 8002 not valid, 8001 expired, 117 not known to the
database, 220 the database cannot be asked, or another, 4 standard output could
not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac token roles token
  ksrbac token roles --role-names token)";

struct Options {
    std::string tokenFile;
    bool roleNames = false;
};

ExitStatus run(const Options& options, bool json, Console& console)
{
    const std::string token = readToken(options.tokenFile);
    requireConfiguration();
    std::set<int> roleIds;
    const HeardErrors errors;
    requireTokenStatus(Rbac::JWTHandler().getRoleIds(nullptr, token, roleIds), errors);
    RoleNames names("token roles");
    if (options.roleNames && !roleIds.empty()) {
        names.askIfPossible(console);
    }
    if (!json) {
        for (const int id : roleIds) {
            console.print(std::to_string(id) + roleNameField(names, id) + '\n');
        }
        return ExitStatus::Good;
    }
    JsonArray ids;
    for (const int id : roleIds) {
        ids.addJson(std::to_string(id));
    }
    JsonObject object;
    object.addJson("roles", ids.text());
    addRoleNames(object, roleIds, names);
    console.print(object.text() + '\n');
    return ExitStatus::Good;
}

} // namespace

Action addTokenRoles(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRoleNames(command, options->roleNames);
    addTokenFile(command, options->tokenFile);
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
