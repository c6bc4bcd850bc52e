#include <cstdint>
#include <memory>
#include <string>

#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "commands/explanation.h"
#include "commands/policy.h"
#include "output/Json.h"
#include "service/RoleNames.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the roles that may perform an operation on an object.

Prints one line for each role to which the access cache grants the operation,
ascending: the id, then a tab and the name where it is known. Names come from
the access-control service, which is asked without --cache, and with
--role-names. With --json it prints {"role":...,"name":...,"grants":[{"object":
...,"propagation":...},...]} with all grants that count, the nearest first; the
name is left out where it is not known.

Which cache: as in 'ksrbac check'. Each role that has grants on the object or
above it is looked at.

Role 0, which may do everything, is listed only if the cache grants it the
operation. Nobody may perform an operation that the operation cache does not
know; a note says so. Where enforcement is off everybody may: nothing is printed
except a note.

Exit status: 0 there are such roles, 1 there are none, 2 usage error, 3 the
library reported a status or failed, or the service could not be asked, 4
standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Example:
  ksrbac who-can --cache main '|OPERATIONS|RESTORE|' \
    '|KEEPSAFE|ASSETS|databases|hr-prod|')";

struct Options {
    PolicyOptions policy;
    std::string operation;
    std::string object;
    bool roleNames = false;
};

std::string json(const Rbac::AllowedRole& role, const RoleNames& names)
{
    JsonObject object;
    object.add("role", std::int64_t{role.roleId});
    if (const std::string* name = names.nameOf(role.roleId)) {
        object.add("name", *name);
    }
    JsonArray grants;
    for (const Rbac::GrantPlace& grant : role.grants) {
        grants.addJson(JsonObject()
                           .add("object", grant.object.str())
                           .add("propagation", propagationName(grant.scope))
                           .text());
    }
    return object.addJson("grants", grants.text()).text();
}

std::string line(const Rbac::AllowedRole& role, const RoleNames& names)
{
    return std::to_string(role.roleId) + roleNameField(names, role.roleId);
}

ExitStatus run(const Options& options, bool asJson, Console& console)
{
    requireConsistent("who-can", options.policy);
    const Rbac::ObjectNamespace operation = parseNamespace("OPERATION", options.operation);
    const Rbac::ObjectNamespace object = parseNamespace("OBJECT", options.object);
    Policy policy("who-can", options.policy, console);
    policy.noteUnknown(operation, console);
    const Rbac::WhoMay answer = whoMay(policy.client(), operation, object);
    RoleNames names("who-can");
    if ((options.roleNames || !options.policy.cache) && !answer.roles.empty()) {
        names.askIfPossible(console);
    }
    for (const Rbac::AllowedRole& role : answer.roles) {
        console.print((asJson ? json(role, names) : line(role, names)) + '\n');
    }
    return answer.everybody || !answer.roles.empty() ? ExitStatus::Good : ExitStatus::Negative;
}

} // namespace

Action addWhoCan(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addPolicyOptions(command, options->policy);
    addRequired(command, "OPERATION", options->operation, value_name::OPERATION,
                "Namespace of the operation");
    addRoleNames(command, options->roleNames);
    addRequired(command, "OBJECT", options->object, "NS", "Namespace of the object");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
