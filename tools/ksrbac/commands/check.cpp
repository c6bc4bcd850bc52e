#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <variant>

#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cli/cache_location.h"
#include "cli/role_ids.h"
#include "commands/Decider.h"
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

Rbac::ObjectNamespace parseOperation(const std::string& text)
{
    Rbac::ObjectNamespace operation;
    if (!boost::conversion::try_lexical_convert(text, operation)) {
        throw InputError("--operation: not a namespace: \"" + escapeForMessage(text) + '"');
    }
    return operation;
}

boost::shared_ptr<const Rbac::AccessCache> openCache(const Rbac::Manifest& manifest)
{
    try {
        return boost::make_shared<Rbac::AccessCache>(manifest);
    } catch (const EC_exception&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(manifest.directory + ": " + error.what());
    }
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
    const Rbac::ObjectNamespace operation = parseOperation(options.operation);
    const CacheLocation location = locateCache(options.cache);
    const Rbac::Manifest manifest(location.id, location.directory);
    Rbac::OperationCache operations;
    Rbac::DiskAccessControlClient client(manifest.ns, openCache(manifest), operations);
    noteUnknown(operations, operation, console);
    const auto checker = std::visit(CheckerMaker{client, operation}, caller);
    Decider decider(*checker, operation, json, console);
    decideAll(options, decider, console);
    return decider.status();
}

} // namespace ksrbac
