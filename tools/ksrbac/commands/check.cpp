#include <cstddef>
#include <set>
#include <string>
#include <variant>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cli/arguments.h"
#include "cli/role_ids.h"
#include "commands/Decider.h"
#include "commands/clients.h"
#include "commands/commands.h"
#include "commands/load_operations.h"
#include "commands/make_checker.h"
#include "io/LineReader.h"
#include "io/open_input.h"
#include "io/token_file.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

void requireConsistent(const CheckOptions& options)
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

Caller readCaller(const CheckOptions& options)
{
    if (options.roles) {
        return parseRoleIds(*options.roles);
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

boost::shared_ptr<Rbac::AccessControlClient> makeClient(const CheckOptions& options,
                                                        Rbac::OperationCache& operations)
{
    if (options.cache) {
        return openClient(*options.cache, operations);
    }
    return requestClient(options.coveredBy ? parseNamespace("--for", *options.coveredBy)
                                           : Rbac::ObjectNamespace());
}

/// Reads the operation cache once, so that an unknown operation is told here and not as a denial without a
/// reason.
void noteUnknown(Rbac::OperationCache& operations, const Rbac::ObjectNamespace& operation, Console& console)
{
    loadOperations(operations);
    if (operations.operations().count(operation) == 0) {
        console.complain("note: the operation cache does not know " + operation.str() +
                         ": it is denied everywhere");
    }
}

void decideAll(const CheckOptions& options, Decider& decider, Console& console)
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

} // namespace

ExitStatus runCheck(const CheckOptions& options, bool json, Console& console)
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

} // namespace ksrbac
