#include "commands/policy.h"

#include <filesystem>
#include <system_error>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "commands/clients.h"
#include "commands/load_operations.h"
#include "configuration.h"
#include "exit_status.h"
#include "io/token_file.h"
#include "log/HeardErrors.h"
#include "token/token_status.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

std::string whyNotEnforcing()
{
    std::error_code ignored;
    const std::string path = Tessara::Keepsafe::Platform::configPath();
    return std::filesystem::exists(path, ignored)
               ? "enforcement is off (feature 1 of the configuration)"
               : "enforcement is off, because there is no configuration file " + path;
}

boost::shared_ptr<Rbac::AccessControlClient>
makeClient(const std::string& command, const PolicyOptions& options, Rbac::OperationCache& operations)
{
    if (options.cache) {
        return openClient(*options.cache, operations);
    }
    return requestClient(command, options.coveredBy ? parseNamespace("--for", *options.coveredBy)
                                                    : Rbac::ObjectNamespace());
}

} // namespace

void addPolicyOptions(CLI::App& command, PolicyOptions& options)
{
    addOptional(command, "--cache", options.cache, value_name::CACHE,
                "Cache: a directory if it has a slash, else an id");
    addOptional(command, "--for", options.coveredBy, "NS",
                "Namespace whose access cache is asked for in place\nof |, without --cache");
}

void requireConsistent(const std::string& command, const PolicyOptions& options)
{
    if (options.cache && options.coveredBy) {
        throw UsageError(command + ": --for is for the service, which --cache does not ask");
    }
}

void addCallerOptions(CLI::App& command, CallerOptions& options)
{
    addOptional(command, "--roles", options.roles, value_name::ROLES,
                "Ids or names of roles, as in 17,Auditor; a comma\nin a name is %2C. --roles=-5,3 for "
                "negative ids,\n--roles= for none");
    addOptional(command, "--session-token-file", options.sessionTokenFile, value_name::FILE_OR_STDIN,
                "Ask for the roles of the session token in a\nfile; - is standard input");
}

void requireConsistent(const std::string& command, const CallerOptions& options)
{
    if (options.roles.has_value() == options.sessionTokenFile.has_value()) {
        throw UsageError(command + ": give either --roles or --session-token-file");
    }
}

Caller readCaller(const CallerOptions& options, RoleNames& names)
{
    if (options.roles) {
        return readRoles(names, "--roles", *options.roles);
    }
    std::string token = readToken(*options.sessionTokenFile);
    requireConfiguration(); // which names the database
    return token;
}

Policy::Policy(const std::string& command, const PolicyOptions& options, Console& console)
    : client_(makeClient(command, options, operations_))
{
    if (!isEnforcing()) {
        console.note(whyNotEnforcing() +
                     ": everything is allowed, and neither roles nor tokens are looked at");
    }
}

bool Policy::isEnforcing() const { return ksrbac::isEnforcing(*client_); }

void Policy::noteUnknown(const Rbac::ObjectNamespace& operation, Console& console)
{
    if (!isEnforcing()) {
        return;
    }
    if (!areOperationsLoaded_) {
        loadOperations(operations_);
        areOperationsLoaded_ = true;
    }
    if (operations_.operations().count(operation) == 0) {
        console.note("the operation cache does not know " + operation.str() + ": it is denied everywhere");
    }
}

std::set<int> Policy::rolesOf(const Caller& caller) const
{
    if (const auto* roleIds = std::get_if<std::set<int>>(&caller)) {
        return *roleIds;
    }
    std::set<int> found;
    const HeardErrors errors;
    requireTokenStatus(Rbac::findRoles(*client_, nullptr, std::get<std::string>(caller), found), errors);
    return found;
}

} // namespace ksrbac
