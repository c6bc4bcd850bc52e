#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/Decider.h"
#include "commands/clients.h"
#include "commands/commands.h"
#include "commands/load_operations.h"
#include "commands/make_checker.h"
#include "io/LineReader.h"
#include "io/input.h"
#include "io/token_file.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Decide whether roles may perform an operation on objects.

Whose roles: those of --roles, or those of the owner of a session token, which
--session-token-file reads from a file or from standard input. The token is
verified and its roles are looked up in the database as in every process of the
product; a token that is not valid, has expired or is not known to the database
ends the command with 3. Give exactly one of the two options.

Who decides: with --cache that access cache, whether or not enforcement is on.
Without it the answer is the one that a process of the product would get: if
enforcement (feature 1 of the configuration) is on, the access-control service
is asked once which access cache serves the namespace of --for, and that cache
decides; if it is off, everything is allowed without looking at roles or tokens,
and a note on standard error says so.

Prints one line per object, in order: "allow" or "deny", a tab, and the object
as it was given. With --json it prints {"object":...,"operation":...,
"allowed":...} with the object in its canonical text form. Objects given as
arguments come first, then those of --objects-from.

An object is allowed if one of the roles has the operation on it. Operations
come from the installation's operation cache; one that it does not know is
denied everywhere. Role 0 is allowed everything; a caller without roles is
denied everything.

Each line of the file is one object, to the last byte: white space around it, a
carriage return or an empty line makes it malformed. Malformed objects are
reported on standard error with their line number, and the others are still
answered.

Exit status: 0 all allowed, 1 some denied, 2 usage error, or an input that is
malformed or cannot be read, 3 the library reported a status or failed: it is
printed on standard error, and objects without a line were not decided, 4
standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac check --cache main --operation '|OPERATIONS|VIEW|' --roles 17,3 \
    '|KEEPSAFE|PROTECTION|'
  ksrbac check --cache ./cache --operation '|OPERATIONS|VIEW|' --roles=-5,3 \
    --objects-from objects.txt
  ksrbac check --operation '|OPERATIONS|VIEW|' --session-token-file token \
    '|KEEPSAFE|PROTECTION|'
  ksrbac check --for '|STORAGE|' --operation '|OPERATIONS|VIEW|' --roles 17 \
    '|STORAGE|disk-01|')";

struct Options {
    std::optional<std::string> cache;     ///< nothing: the service is asked
    std::optional<std::string> coveredBy; ///< the namespace that the service is asked about
    std::string operation;
    std::optional<std::string> roles;
    std::optional<std::string> sessionTokenFile;
    std::optional<std::string> objectsFrom;
    std::vector<std::string> objects;
};

void requireConsistent(const Options& options)
{
    if (options.objects.empty() && !options.objectsFrom) {
        throw InputError("check: give objects as arguments or with --objects-from");
    }
    if (options.roles.has_value() == options.sessionTokenFile.has_value()) {
        throw InputError("check: give either --roles or --session-token-file");
    }
    if (options.cache && options.coveredBy) {
        throw InputError("check: --for is for the service, which --cache does not ask");
    }
    if (options.sessionTokenFile == STANDARD_INPUT && options.objectsFrom == STANDARD_INPUT) {
        throw InputError("check: --session-token-file and --objects-from cannot both be standard input");
    }
}

/// Who asks: role ids, or a session token.
using Caller = std::variant<std::set<int>, std::string>;

Caller readCaller(const Options& options)
{
    if (options.roles) {
        return parseRoleIds("--roles", *options.roles);
    }
    return readToken(*options.sessionTokenFile);
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

boost::shared_ptr<Rbac::AccessControlClient> makeClient(const Options& options,
                                                        Rbac::OperationCache& operations)
{
    if (options.cache) {
        return openClient(*options.cache, operations);
    }
    return requestClient(options.coveredBy ? parseNamespace("--for", *options.coveredBy)
                                           : Rbac::ObjectNamespace());
}

/// Reads the operation cache once, so that an unknown operation is reported here and not as a denial without
/// a reason.
void noteUnknown(Rbac::OperationCache& operations, const Rbac::ObjectNamespace& operation, Console& console)
{
    loadOperations(operations);
    if (operations.operations().count(operation) == 0) {
        console.complain("note: the operation cache does not know " + operation.str() +
                         ": it is denied everywhere");
    }
}

void decideAll(const Options& options, Decider& decider, Console& console)
{
    std::size_t position = 0;
    for (const std::string& object : options.objects) {
        ++position;
        decider.decide(object, [position] { return "OBJECT " + std::to_string(position); });
    }
    if (!options.objectsFrom) {
        return;
    }
    LineReader lines(*options.objectsFrom, [&console] { console.flush(); });
    const auto where = [&lines] {
        return escapeForMessage(lines.name()) + ':' + std::to_string(lines.lineNumber());
    };
    std::string line;
    while (lines.next(line)) {
        decider.decide(line, where);
    }
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    requireConsistent(options);
    const Caller caller = readCaller(options);
    const Rbac::ObjectNamespace operation = parseNamespace("--operation", options.operation);
    Rbac::OperationCache operations;
    const auto client = makeClient(options, operations);
    if (isEnforcing(*client)) {
        noteUnknown(operations, operation, console);
    } else {
        console.complain(
            "note: enforcement is off (feature 1 of the configuration): everything is allowed, and "
            "neither roles nor tokens are looked at");
    }
    const auto checker = std::visit(CheckerMaker{*client, operation}, caller);
    Decider decider(*checker, operation, json, console);
    decideAll(options, decider, console);
    return decider.status();
}

} // namespace

Action addCheck(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addOptional(command, "--cache", options->cache, value_name::CACHE,
                "Cache: a directory if it has a slash, else an id");
    addOptional(command, "--for", options->coveredBy, "NS",
                "Namespace whose access cache is asked for in place\nof |, without --cache");
    addRequired(command, "--operation", options->operation, "NS", "Namespace of the operation");
    addOptional(command, "--roles", options->roles, "IDS",
                "Role ids, as in 17,3; --roles=-5,3 for negative\nones, --roles= for none");
    addOptional(command, "--session-token-file", options->sessionTokenFile, value_name::FILE_OR_STDIN,
                "Ask for the roles of the session token in a\nfile; - is standard input");
    addOptional(command, "--objects-from", options->objectsFrom, value_name::FILE_OR_STDIN,
                "Read objects by line; - is standard input");
    addRest(command, "OBJECT", options->objects, "NS", "Namespaces of objects");
    // The parser would end the objects at "--" once it has seen one of them.
    return {[options](bool json, Console& console) { return run(*options, json, console); },
            [options] { return &options->objects; }};
}

} // namespace ksrbac
