#ifndef KSRBAC_COMMANDS_POLICY_H
#define KSRBAC_COMMANDS_POLICY_H

#include <optional>
#include <set>
#include <string>
#include <variant>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "io/Console.h"
#include "service/RoleNames.h"

namespace CLI {
class App;
}

/// \file
/// What commands that ask for decisions share: which policy is asked, and for which caller. `command` is the
/// command's name for messages.

namespace ksrbac {

/// --cache and --for.
struct PolicyOptions {
    std::optional<std::string> cache;     ///< nothing: the service is asked
    std::optional<std::string> coveredBy; ///< the namespace that the service is asked about
};

void addPolicyOptions(CLI::App& command, PolicyOptions& options);
/// Throws `InputError`.
void requireConsistent(const std::string& command, const PolicyOptions& options);

/// --roles and --session-token-file.
struct CallerOptions {
    std::optional<std::string> roles;
    std::optional<std::string> sessionTokenFile;
};

void addCallerOptions(CLI::App& command, CallerOptions& options);
/// Throws `InputError` unless exactly one is given.
void requireConsistent(const std::string& command, const CallerOptions& options);

/// Who asks: role ids, or a session token.
using Caller = std::variant<std::set<int>, std::string>;

/// Throws `InputError`, and `ServiceError` when roles are given by their names and the service cannot be
/// asked.
Caller readCaller(const CallerOptions& options, RoleNames& names);

/// The open policy.
class Policy {
public:
    /// Opens the cache, or asks the service for it. Prints a note where enforcement is off. Throws
    /// `ServiceError`, `InputError`, and what the library throws.
    Policy(const std::string& command, const PolicyOptions& options, Console& console);

    [[nodiscard]] Tessara::Keepsafe::Rbac::AccessControlClient& client() const { return *client_; }
    [[nodiscard]] bool isEnforcing() const;

    /// Reads the operation cache, so that an unknown operation is reported and is not a denial without a
    /// reason. Does nothing where enforcement is off.
    void noteUnknown(const Tessara::Keepsafe::Rbac::ObjectNamespace& operation, Console& console);

    /// The caller's roles: those of a session token are looked up in the database of the configuration.
    /// Throws `EC_exception` with the status of a token that is not accepted.
    [[nodiscard]] std::set<int> rolesOf(const Caller& caller) const;

private:
    Tessara::Keepsafe::Rbac::OperationCache operations_; ///< of the client, which it outlives
    bool areOperationsLoaded_ = false;
    boost::shared_ptr<Tessara::Keepsafe::Rbac::AccessControlClient> client_;
};

} // namespace ksrbac

#endif
