#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include <new>
#include <utility>

#include <boost/make_shared.hpp>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "all_permissions.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char CHECKER_TAG[] = "DiskAccessControlClient::createAccessChecker";

} // namespace

DiskAccessControlClient::DiskAccessControlClient(const ObjectNamespace& objectNamespace,
                                                 boost::shared_ptr<const AccessCache> accessCache,
                                                 OperationCache& operationCache)
    : objectNamespace_(objectNamespace), accessCache_(std::move(accessCache)), operationCache_(operationCache)
{
}

int DiskAccessControlClient::createAccessChecker(Tessara::Dal::DbConnectionManager* dbConnectionManager,
                                                 const std::string& sessionToken,
                                                 const ObjectNamespace& operation, int reserved,
                                                 boost::shared_ptr<const AccessChecker>& checker)
{
    std::set<int> roleIds;
    const int status = JWTHandler().getRoleIds(dbConnectionManager, sessionToken, roleIds);
    if (status != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, CHECKER_TAG, "Failed to extract role IDs from ID token, error=%d",
                status);
        return status;
    }
    return createAccessChecker(roleIds, operation, reserved, checker);
}

int DiskAccessControlClient::createAccessChecker(const std::set<int>& roleIds,
                                                 const ObjectNamespace& operation, int reserved,
                                                 boost::shared_ptr<const AccessChecker>& checker)
{
    boost::optional<Operation> known;
    try {
        known = operationCache_[operation];
    } catch (const EC_exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, CHECKER_TAG,
                "Failed to convert operation to offset/mask, error=%d", failure.status());
        return failure.status();
    }
    try {
        if (!known) {
            checker = boost::make_shared<const ConstantAccessChecker<false>>();
        } else if (detail::hasAllPermissions(roleIds)) {
            checker = boost::make_shared<const ConstantAccessChecker<true>>();
        } else {
            checker = boost::make_shared<const DiskAccessChecker>(accessCache_, roleIds, *known, reserved);
        }
    } catch (const std::bad_alloc&) {
        // Callers rely on 0 here and test the checker instead.
        logmsgf(Platform::LOG_LEVEL_ERROR, CHECKER_TAG, "Failed to create AccessChecker, error=%d",
                Status::OUT_OF_MEMORY);
    }
    return Status::SUCCESS;
}

} // namespace Tessara::Keepsafe::Rbac
