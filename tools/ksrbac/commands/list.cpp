#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <keepsafe/rbac/questions/reachable_objects.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "commands/policy.h"
#include "io/Progress.h"
#include "output/Json.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List the objects on which roles may perform an operation.

Prints the canonical names of the objects of the access cache that are allowed,
one per line, in the order of their bytes: those of --under and everything below
it. With --json it prints {"object":...} for each, with --count only their
number ({"count":...}). Whose roles and which cache: as in 'ksrbac check'.

Only objects that the cache holds are listed. Where one grants its children the
operation, names below it that the cache does not hold are allowed as well. Role
0 is allowed everything, so all objects are listed; an operation that the
operation cache does not know, and a caller without roles, give none.

The list is made in pieces, each from one state of the policy, so that a writer
never has to wait for it. An object that is allowed all the time is listed once,
whatever changes meanwhile. To continue a list, give its last name as --after,
whether or not that object still exists.

Where enforcement is off everything is allowed, and no cache says what there is:
that ends the command with 3.

Exit status: 0 listed, even if there are none, 2 usage error, 3 enforcement is
off, or the library reported a status or failed, 4 standard output could not be
written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac list --cache main --operation '|OPERATIONS|VIEW|' --roles 17 \
    --under '|KEEPSAFE|ASSETS|'
  ksrbac list --cache main --operation '|OPERATIONS|VIEW|' --roles 17 --count)";

struct Options {
    PolicyOptions policy;
    std::string operation;
    CallerOptions caller;
    std::string under = "|";
    std::optional<std::string> after;
    std::size_t limit = std::numeric_limits<std::size_t>::max();
    bool count = false;
};

/// The same as `ReachableObjects::count`, in pieces.
std::uint64_t countWithProgress(const Rbac::ReachableObjects& reachable, const Rbac::ObjectNamespace& under,
                                const std::string& after, Console& console)
{
    Progress progress(console, "counted", "objects");
    if (!progress.isWatched()) {
        return reachable.count(under, after);
    }
    std::uint64_t count = 0;
    reachable.forEach(under, after, [&](std::string_view /*name*/) {
        ++count;
        progress.add();
        return true;
    });
    return count;
}

void printCount(std::uint64_t count, bool json, Console& console)
{
    console.print((json ? JsonObject().add("count", count).text() : std::to_string(count)) + '\n');
}

void printNames(const Rbac::ReachableObjects& reachable, const Rbac::ObjectNamespace& under,
                const std::string& after, std::size_t limit, bool json, Console& console)
{
    std::size_t left = limit;
    if (left == 0) {
        return;
    }
    reachable.forEach(under, after, [&](std::string_view name) {
        console.print((json ? JsonObject().add("object", name).text() : printable(name)) + '\n');
        return --left != 0;
    });
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    requireConsistent("list", options.policy);
    requireConsistent("list", options.caller);
    const Rbac::ObjectNamespace operation = parseNamespace("--operation", options.operation);
    const Rbac::ObjectNamespace under = parseNamespace("--under", options.under);
    const std::string after = options.after ? parseNamespace("--after", *options.after).str() : "";
    RoleNames names("list");
    const Caller caller = readCaller(options.caller, names);
    Policy policy("list", options.policy, console);
    if (!policy.isEnforcing()) {
        throw std::runtime_error("list: without enforcement no cache says which objects there are; give one "
                                 "with --cache");
    }
    policy.noteUnknown(operation, console);
    const Rbac::ReachableObjects reachable(policy.client(), policy.rolesOf(caller), operation);
    if (options.count) {
        const std::uint64_t count = countWithProgress(reachable, under, after, console);
        printCount(std::min<std::uint64_t>(count, options.limit), json, console);
    } else {
        printNames(reachable, under, after, options.limit, json, console);
    }
    return ExitStatus::Good;
}

} // namespace

Action addList(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addPolicyOptions(command, options->policy);
    addRequired(command, "--operation", options->operation, value_name::OPERATION,
                "Namespace of the operation");
    addCallerOptions(command, options->caller);
    addOptional(command, "--under", options->under, "NS", "List NS and what is below it in place of |");
    addOptional(command, "--after", options->after, "NS", "Begin after NS in the order of names");
    addOptional(command, "--limit", options->limit, "N", "List at most N objects");
    addFlag(command, "--count", options->count, "Print the number of objects alone");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
