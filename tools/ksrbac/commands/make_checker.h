#ifndef KSRBAC_COMMANDS_MAKE_CHECKER_H
#define KSRBAC_COMMANDS_MAKE_CHECKER_H

#include <set>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/rbac/client/AccessChecker.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace ksrbac {

/// A checker for role ids, never null. Throws `EC_exception` with the client's status, and with status 36
/// when the client reports success but had no memory for a checker.
boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessChecker>
makeChecker(Tessara::Keepsafe::Rbac::AccessControlClient& client, const std::set<int>& roleIds,
            const Tessara::Keepsafe::Rbac::ObjectNamespace& operation);

/// The same for the roles of a session token's owner. The database is that of the configuration.
boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessChecker>
makeCheckerForToken(Tessara::Keepsafe::Rbac::AccessControlClient& client, const std::string& sessionToken,
                    const Tessara::Keepsafe::Rbac::ObjectNamespace& operation);

} // namespace ksrbac

#endif
