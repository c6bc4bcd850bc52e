#ifndef KEEPSAFE_RBAC_CLIENT_STUBACCESSCONTROLCLIENT_H
#define KEEPSAFE_RBAC_CLIENT_STUBACCESSCONTROLCLIENT_H

#include <set>
#include <string>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessControlClient.h>

namespace Tessara::Keepsafe::Rbac {

/// The client for processes in which role-based enforcement is off: every checker allows every operation on
/// every object. Ignores its arguments; the connection manager may be null. Throws only `std::bad_alloc`.
/// Stateless; any thread.
class KEEPSAFE_API StubAccessControlClient : public AccessControlClient {
public:
    [[nodiscard]] int createAccessChecker(Tessara::Dal::DbConnectionManager* dbConnectionManager,
                                          const std::string& sessionToken, const ObjectNamespace& operation,
                                          int reserved,
                                          boost::shared_ptr<const AccessChecker>& checker) override;

    [[nodiscard]] int createAccessChecker(const std::set<int>& roleIds, const ObjectNamespace& operation,
                                          int reserved,
                                          boost::shared_ptr<const AccessChecker>& checker) override;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
