#include <keepsafe/jwt/JWTHandler.h>

#include <cstddef>
#include <memory>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <jansson.h>

#include <keepsafe/dbaccess/RBACDbConnectionMgr.h>
#include <keepsafe/dbaccess/RBACDbQueryMgr.h>
#include <keepsafe/jwt/JWT.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char EXTRACT_TAG[] = "JWTHandler::extractRoleIds";

int rejectToken(const char* reason)
{
    logmsgf(Platform::LOG_LEVEL_ERROR, EXTRACT_TAG, "%s", reason);
    return Status::TOKEN_INVALID;
}

} // namespace

int JWTHandler::getRoleIds(Tessara::Dal::DbConnectionManager* connectionManager,
                           const std::string& sessionToken, std::set<int>& roleIds)
{
    std::string azToken;
    int status = fetchAzToken(connectionManager, sessionToken, azToken);
    if (status == Status::SUCCESS) {
        status = extractRoleIds(azToken, roleIds);
    }
    if (status != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "JWTHandler::getRoleIds", "Failed to get role IDS, error=%d",
                status);
    }
    return status;
}

int JWTHandler::fetchAzToken(Tessara::Dal::DbConnectionManager* connectionManager,
                             const std::string& sessionToken, std::string& azToken)
{
    const auto connection = boost::make_shared<RBACDbConnectionMgr>(connectionManager);
    const boost::shared_ptr<RBACQueryMgr> queries = boost::make_shared<RBACDbQueryMgr>(connection);
    const int status = queries->fetchAzToken(sessionToken, azToken);
    if (status != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "JWTHandler::fetchAzToken",
                "Failed to fetch authorization token, error=%d", status);
    }
    return status;
}

int JWTHandler::extractRoleIds(const std::string& azToken, std::set<int>& roleIds)
{
    JWT* made = nullptr;
    const int status = JWT::createJWT(azToken, made);
    const std::unique_ptr<const JWT> jwt(made);
    if (status != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, EXTRACT_TAG, "Failed to create JWT, error=%d", status);
        return status;
    }
    if (jwt->payload() == nullptr) {
        return rejectToken("Failed to extract body from JWT");
    }
    const json_t* const roles = json_object_get(jwt->payload(), "roles");
    if (!json_is_array(roles)) {
        return rejectToken("JSON is invalid. Roles is NULL or not an array");
    }
    for (std::size_t index = 0; index < json_array_size(roles); ++index) {
        const json_t* const role = json_array_get(roles, index);
        if (!json_is_integer(role)) {
            return rejectToken("JSON is invalid. Role ID is NULL or not an integer");
        }
        roleIds.insert(static_cast<int>(json_integer_value(role)));
    }
    return Status::SUCCESS;
}

} // namespace Tessara::Keepsafe::Rbac
