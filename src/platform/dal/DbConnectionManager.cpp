#include <keepsafe/platform/dal/Dal.h>

#include "Pool.h"

namespace Tessara::Dal {

DbConnectionManager::DbConnectionManager(unsigned int minimumConnections, unsigned int maximumConnections,
                                         unsigned int connectRetries, unsigned int retryWaitSeconds,
                                         unsigned int idleSeconds, unsigned int connectTimeoutSeconds,
                                         unsigned int queryTimeoutSeconds, USERID_TYPES /*userIdType*/,
                                         bool connectNow)
{
    DbConnectionSettings settings;
    settings.minimumConnections = minimumConnections;
    settings.maximumConnections = maximumConnections;
    settings.connectRetries = connectRetries;
    settings.retryWaitSeconds = retryWaitSeconds;
    settings.idleSeconds = idleSeconds;
    settings.connectTimeoutSeconds = connectTimeoutSeconds;
    settings.queryTimeoutSeconds = queryTimeoutSeconds;
    pool_ = std::make_unique<Pool>(settings, Pool::Source::Configuration);
    if (connectNow) {
        SSRDbConnection* connection = nullptr;
        const SSRGuard guard(this, connection);
    }
}

DbConnectionManager::DbConnectionManager(const DbConnectionSettings& settings)
    : pool_(std::make_unique<Pool>(settings, Pool::Source::Settings))
{
}

DbConnectionManager::~DbConnectionManager() = default;

std::uint32_t DbConnectionManager::connectionIndicator() const noexcept { return pool_->open(); }

SSRGuard::SSRGuard(DbConnectionManager* manager, SSRDbConnection*& connection)
    : manager_(manager), status_(STATUS_BAD_CALL)
{
    connection = nullptr;
    if (manager_ != nullptr) {
        connection_ = manager_->pool_->lend(status_);
        connection = connection_;
    }
}

SSRGuard::~SSRGuard()
{
    if (connection_ != nullptr) {
        manager_->pool_->giveBack(connection_);
    }
}

} // namespace Tessara::Dal
