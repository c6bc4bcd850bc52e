#ifndef KEEPSAFE_RBAC_CLIENT_DISKACCESSCONTROLCLIENT_H
#define KEEPSAFE_RBAC_CLIENT_DISKACCESSCONTROLCLIENT_H

#include <set>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessControlClient.h>

namespace Tessara::Keepsafe::Rbac {

/// The client that answers from an access cache on disk, without network traffic. Holds no mutable state; any
/// thread.
///
/// An operation that the operation cache does not know is denied everywhere, with status 0; the file of
/// operations is read again at each request for such a checker, so keep the checker and not the question.
/// Role id 0 is granted every operation that the operation cache knows, on every object, without consulting
/// the access cache. An empty set of roles is denied everywhere.
class KEEPSAFE_API DiskAccessControlClient : public AccessControlClient {
public:
    /// Shares `accessCache` with every checker it makes. `operationCache` is not owned and must outlive the
    /// client.
    DiskAccessControlClient(const ObjectNamespace& objectNamespace,
                            boost::shared_ptr<const AccessCache> accessCache, OperationCache& operationCache);

    /// Looks the caller's roles up (see `JWTHandler::getRoleIds`) and then does what the other operation
    /// does, also where a derived class overrides it. Returns its status, or that of the lookup.
    [[nodiscard]] int createAccessChecker(Tessara::Dal::DbConnectionManager* dbConnectionManager,
                                          const std::string& sessionToken, const ObjectNamespace& operation,
                                          int reserved,
                                          boost::shared_ptr<const AccessChecker>& checker) override;

    /// Returns 0, or the status of the operation cache when it cannot be read. Failing to allocate the
    /// checker is logged with status 36 and still returns 0, with `checker` as it was. Exceptions of the
    /// operation cache other than `EC_exception` pass through.
    [[nodiscard]] int createAccessChecker(const std::set<int>& roleIds, const ObjectNamespace& operation,
                                          int reserved,
                                          boost::shared_ptr<const AccessChecker>& checker) override;

    /// What the client was made from.
    [[nodiscard]] const boost::shared_ptr<const AccessCache>& accessCache() const noexcept
    {
        return accessCache_;
    }
    [[nodiscard]] OperationCache& operationCache() const noexcept { return operationCache_; }

private:
    ObjectNamespace objectNamespace_;
    boost::shared_ptr<const AccessCache> accessCache_;
    OperationCache& operationCache_;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
