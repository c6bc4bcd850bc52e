#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>
#include <keepsafe/rbac/questions/explain.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/Decider.h"
#include "commands/ObjectRow.h"
#include "commands/commands.h"
#include "commands/decision_table.h"
#include "commands/make_checker.h"
#include "commands/policy.h"
#include "io/LineReader.h"
#include "io/Progress.h"
#include "io/input.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Decide whether roles may perform an operation on objects.

Whose roles: those of --roles, by id or by name, or those of the owner of a
session token, which --session-token-file reads from a file or from standard
input. The token is verified and its roles are looked up in the database as in
every process of the product; a token that is not valid, has expired or is not
known to the database ends the command with 3. Give exactly one of the two
options. The service is asked for names of roles only if one is given.

Who decides: with --cache that access cache, whether or not enforcement is on.
Without it the answer is the one that a process of the product would get: if
enforcement (feature 1 of the configuration) is on, the access-control service
is asked once which access cache serves the namespace of --for, and that cache
decides; if it is off, everything is allowed without looking at roles or tokens,
and a note on standard error says so.

Prints one line per object, in order: "allow" or "deny", a tab, and the object
as it was given, or in its canonical text form if it holds control or format
characters. With --json it prints {"object":...,"operation":...,"allowed":...}
with the object in its canonical text form. Objects given as arguments come
first, then those of --objects-from.

An object is allowed if one of the roles has the operation on it. Operations
come from the installation's operation cache; one that it does not know is
denied everywhere. Role 0 is allowed everything; a caller without roles is
denied everything.

Each line of the file is one object, to the last byte: white space around it, a
carriage return or an empty line makes it malformed. Malformed objects are
reported on standard error with their line number, and the others are still
answered. A file without a line, which a producer that failed leaves behind, is
an error unless --allow-empty is given.

With --explain each answer has its reason and the objects on the way to it:
indented lines, or with --json the members "reason" and "path". The reasons:
granted, granted-by-ancestor, role-0, unknown-operation, no-roles,
inheritance-off, not-granted, enforcement-off. Roles are printed with their names,
for which the service is asked; with --cache that needs --role-names. JSON has
them as the member "roleNames", by id.

With --expect the decisions are those of a table, one a line: roles,
operation, object, and allow or deny, with tabs between them; # begins a
comment. Only those that differ are printed, and the exit status is 1 if any
does.

Exit status: 0 all allowed, or all as expected, 1 some not, 2 usage error, or an
input that is malformed or cannot be read, 3 the library reported a status or
failed: it is printed on standard error, and objects without a line were not
decided, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac check --cache main --operation '|OPERATIONS|VIEW|' --roles 17,3 \
    '|KEEPSAFE|PROTECTION|'
  ksrbac check --cache ./cache --operation '|OPERATIONS|VIEW|' --roles=-5,3 \
    --objects-from objects.txt
  ksrbac check --operation '|OPERATIONS|VIEW|' --session-token-file token \
    '|KEEPSAFE|PROTECTION|'
  ksrbac check --for '|STORAGE|' --operation '|OPERATIONS|VIEW|' --roles 17 \
    '|STORAGE|disk-01|'
  ksrbac check --cache main --operation '|OPERATIONS|VIEW|' --roles 17 \
    --explain '|KEEPSAFE|PROTECTION|'
  ksrbac check --operation '|OPERATIONS|VIEW|' --roles 'Restore operator,3' \
    '|KEEPSAFE|PROTECTION|'
  ksrbac check --cache main --expect decisions.tsv)";

struct Options {
    PolicyOptions policy;
    CallerOptions caller;
    std::optional<std::string> operation;
    std::optional<std::string> objectsFrom;
    std::optional<std::string> expect;
    std::vector<std::string> objects;
    bool explain = false;
    bool roleNames = false;
    bool allowEmpty = false;
};

void requireConsistent(const Options& options)
{
    requireConsistent("check", options.policy);
    if (options.roleNames && !options.explain) {
        throw InputError("check: --role-names is for the roles that --explain prints");
    }
    if (options.expect) {
        if (options.operation || options.caller.roles || options.caller.sessionTokenFile || options.explain ||
            options.objectsFrom || options.allowEmpty || !options.objects.empty()) {
            throw UsageError("check: --expect takes roles, operations and objects from the table alone");
        }
        return;
    }
    if (options.allowEmpty && !options.objectsFrom) {
        throw UsageError("check: --allow-empty is for --objects-from");
    }
    if (options.objects.empty() && !options.objectsFrom) {
        throw UsageError("check: give objects as arguments or with --objects-from");
    }
    requireConsistent("check", options.caller);
    if (options.caller.sessionTokenFile == STANDARD_INPUT && options.objectsFrom == STANDARD_INPUT) {
        throw UsageError("check: --session-token-file and --objects-from cannot both be standard input");
    }
}

/// One overload per kind of caller.
struct CheckerMaker {
    Rbac::AccessControlClient& client;
    const Rbac::ObjectNamespace& operation;

    auto operator()(const std::set<int>& roleIds) const { return makeChecker(client, roleIds, operation); }
    auto operator()(const std::string& sessionToken) const
    {
        return makeCheckerForToken(client, sessionToken, operation);
    }
};

/// Has all objects decided, as many at a time as are there.
void decideAll(const Options& options, const Rbac::AccessChecker& checker, Decider& decider, Console& console)
{
    ObjectRow arguments(checker, decider,
                        [](std::size_t position) { return "OBJECT " + std::to_string(position); });
    std::size_t position = 0;
    for (const std::string& object : options.objects) {
        arguments.add(object, ++position);
    }
    arguments.finish();
    if (!options.objectsFrom) {
        return;
    }
    const std::string name = escapeForMessage(inputName(*options.objectsFrom));
    ObjectRow row(checker, decider, [&name](std::size_t line) { return name + ':' + std::to_string(line); });
    LineReader lines(*options.objectsFrom, [&row, &console] {
        row.finish();
        console.flush();
    });
    Progress progress(console, "checked", "objects");
    try {
        std::string line;
        while (lines.next(line)) {
            row.add(line, lines.lineNumber());
            progress.add();
        }
    } catch (const InputError&) {
        row.finish(); // what was read before is still answered
        throw;
    }
    row.finish();
    if (lines.lineNumber() == 0 && !options.allowEmpty) {
        throw InputError(name + ": there is no object in it; with --allow-empty that is all allowed");
    }
}

ExitStatus decideObjects(const Options& options, bool json, Console& console)
{
    const Rbac::ObjectNamespace operation = parseNamespace("--operation", *options.operation);
    RoleNames names("check");
    const Caller caller = readCaller(options.caller, names);
    Policy policy("check", options.policy, console);
    policy.noteUnknown(operation, console);
    if (options.explain) {
        const std::set<int> roles = policy.rolesOf(caller);
        const Rbac::Explainer explainer(policy.client(), roles, operation);
        const auto checker = makeChecker(policy.client(), roles, operation);
        Decider decider(*checker, operation, json, console);
        if (options.roleNames || (!options.policy.cache && policy.isEnforcing())) {
            names.askIfPossible(console);
        }
        decider.explainWith(explainer, names);
        decideAll(options, *checker, decider, console);
        return decider.status();
    }
    const auto checker = std::visit(CheckerMaker{policy.client(), operation}, caller);
    Decider decider(*checker, operation, json, console);
    decideAll(options, *checker, decider, console);
    return decider.status();
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    requireConsistent(options);
    if (!options.expect) {
        return decideObjects(options, json, console);
    }
    Policy policy("check", options.policy, console);
    RoleNames names("check");
    return compareWithTable(policy, *options.expect, names, json, console);
}

} // namespace

Action addCheck(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addPolicyOptions(command, options->policy);
    addOptional(command, "--operation", options->operation, value_name::OPERATION,
                "Namespace of the operation; required without\n--expect");
    addCallerOptions(command, options->caller);
    addOptional(command, "--objects-from", options->objectsFrom, value_name::FILE_OR_STDIN,
                "Read objects by line; - is standard input");
    addFlag(command, "--allow-empty", options->allowEmpty, "A list without an object is all allowed");
    addFlag(command, "--explain", options->explain, "Say why");
    addRoleNames(command, options->roleNames);
    addOptional(command, "--expect", options->expect, value_name::FILE_OR_STDIN,
                "Compare the decisions with those of a table");
    requireUnless(command, "--operation", "--expect");
    addRest(command, "OBJECT", options->objects, "NS", "Namespaces of objects");
    // The parser would end the objects at "--" once it has seen one of them.
    return {[options](bool json, Console& console) { return run(*options, json, console); },
            [options] { return &options->objects; }};
}

} // namespace ksrbac
