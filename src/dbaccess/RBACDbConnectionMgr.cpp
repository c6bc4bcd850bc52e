#include <keepsafe/dbaccess/RBACDbConnectionMgr.h>

#include <keepsafe/platform/dal/Dal.h>

#include "debug_log.h"

namespace Tessara::Keepsafe {

namespace {

/// One connection kept, at most two, no retries; times in seconds.
Tessara::Dal::DbConnectionManager* makePrivateManager()
{
    return new Tessara::Dal::DbConnectionManager(1, 2, 0, 1, 30, 15, 40, Tessara::Dal::APPLICATION_USER,
                                                 false);
}

} // namespace

RBACDbConnectionMgr::RBACDbConnectionMgr(Tessara::Dal::DbConnectionManager* manager)
    : manager_(manager), ownsManager_(manager == nullptr)
{
    if (ownsManager_) {
        diagnostics::debugLog({"RBACDbConnectionMgr::RBACDbConnectionMgr", 1},
                              "Starting database connection manager");
        manager_ = makePrivateManager();
    }
}

RBACDbConnectionMgr::~RBACDbConnectionMgr()
{
    if (ownsManager_) {
        delete manager_;
    }
}

bool RBACDbConnectionMgr::connectionEstablished() const noexcept
{
    return manager_->connectionIndicator() != 0;
}

} // namespace Tessara::Keepsafe
