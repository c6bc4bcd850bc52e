#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <keepsafe/rbac/questions/reachable_objects.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "commands/policy.h"
#include "exit_status.h"
#include "output/Json.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the operations that roles may perform on an object.

Prints the operations of the operation cache that a caller with these roles, or
the owner of a session token, may perform on the object, one a line, in the
order of their bytes. With --json each is {"operation":...}. Whose roles and
which cache: as in 'ksrbac check'.

With --under in place of the object it prints the operations that they may
perform on at least one object that the cache holds: on the one that is named or
on any below it. For each operation this looks at objects until one is found.

Role 0 may perform all of them; a caller without roles none. Where enforcement
is off everything is allowed: nothing is printed except a note.

Exit status: 0 there are such operations, 1 there are none, 2 usage error, 3 the
library reported a status or failed, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac what-can --cache main --roles=17,3 '|KEEPSAFE|PROTECTION|'
  ksrbac what-can --session-token-file token '|KEEPSAFE|PROTECTION|'
  ksrbac what-can --cache main --roles=40 --under '|')";

struct Options {
    PolicyOptions policy;
    CallerOptions caller;
    std::optional<std::string> object;
    std::optional<std::string> under;
};

bool reachesAny(const Rbac::ReachableObjects& reachable, const Rbac::ObjectNamespace& under)
{
    Rbac::ReachablePage page = reachable.page(under, "", 1);
    while (page.names.empty() && !page.isLast()) {
        page = reachable.page(under, page.cursor, 1);
    }
    return !page.names.empty();
}

/// The operations that the roles may perform somewhere there.
Rbac::WhatMay whatMayUnder(Rbac::AccessControlClient& client, const std::set<int>& roles,
                           const Rbac::ObjectNamespace& under)
{
    constexpr int ALL_PERMISSIONS_ROLE = 0;
    Rbac::WhatMay answer = whatMay(client, {ALL_PERMISSIONS_ROLE}, under);
    std::vector<Rbac::ObjectNamespace>& operations = answer.operations;
    const auto isDenied = [&](const Rbac::ObjectNamespace& operation) {
        return !reachesAny(Rbac::ReachableObjects(client, roles, operation), under);
    };
    operations.erase(std::remove_if(operations.begin(), operations.end(), isDenied), operations.end());
    return answer;
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    requireConsistent("what-can", options.caller);
    requireConsistent("what-can", options.policy);
    if (options.object && options.under) {
        throw UsageError("what-can: give either OBJECT or --under");
    }
    const Rbac::ObjectNamespace object =
        options.under ? parseNamespace("--under", *options.under) : parseNamespace("OBJECT", *options.object);
    RoleNames names("what-can");
    const Caller caller = readCaller(options.caller, names);
    const Policy policy("what-can", options.policy, console);
    const std::set<int> roles = policy.rolesOf(caller);
    const Rbac::WhatMay answer = options.under ? whatMayUnder(policy.client(), roles, object)
                                               : whatMay(policy.client(), roles, object);
    for (const Rbac::ObjectNamespace& operation : answer.operations) {
        console.print((json ? JsonObject().add("operation", operation.str()).text() : operation.str()) +
                      '\n');
    }
    return answer.everything || !answer.operations.empty() ? ExitStatus::Good : ExitStatus::Negative;
}

} // namespace

Action addWhatCan(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addPolicyOptions(command, options->policy);
    addCallerOptions(command, options->caller);
    addOptional(command, "--under", options->under, "NS", "Look at this object and all below it");
    addOptional(command, "OBJECT", options->object, "NS", "Namespace of the object");
    requireUnless(command, "OBJECT", "--under");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
