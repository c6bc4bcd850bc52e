#ifndef KEEPSAFE_RBAC_CLIENT_CLIENT_FACTORY_H
#define KEEPSAFE_RBAC_CLIENT_CLIENT_FACTORY_H

#include <exception>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/rbac/client/AccessControlClient.h>

namespace Tessara::Keepsafe::Rbac {

/// `AccessControlClient::create` with the HTTP client of the given factory.
int createClient(const ObjectNamespace& objectNamespace, KSClientCURL_BaseFactory& httpClients,
                 boost::shared_ptr<AccessControlClient>& client, std::exception_ptr& cause);

} // namespace Tessara::Keepsafe::Rbac

#endif
