#ifndef KSRBAC_COMMANDS_CLIENTS_H
#define KSRBAC_COMMANDS_CLIENTS_H

#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace ksrbac {

/// A client that asks the cache which is named by an id or a directory. `operations` must outlive it. Throws
/// `EC_exception` and others of the library.
boost::shared_ptr<Tessara::Keepsafe::Rbac::AccessControlClient>
openClient(const std::string& idOrDirectory, Tessara::Keepsafe::Rbac::OperationCache& operations);

/// The client that a process of the product gets for objects below the namespace: where enforcement is on,
/// the service is asked which cache that is. Throws `ServiceError` that begins with the command's name.
boost::shared_ptr<Tessara::Keepsafe::Rbac::AccessControlClient>
requestClient(const std::string& command, const Tessara::Keepsafe::Rbac::ObjectNamespace& objectNamespace);

/// False for the client that allows everything, because enforcement is off.
bool isEnforcing(const Tessara::Keepsafe::Rbac::AccessControlClient& client) noexcept;

} // namespace ksrbac

#endif
