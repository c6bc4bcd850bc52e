#ifndef KEEPSAFE_DBACCESS_RBACDBCONNECTIONMGR_H
#define KEEPSAFE_DBACCESS_RBACDBCONNECTIONMGR_H

#include <keepsafe/platform/export/export.h>

namespace Tessara::Dal {
class DbConnectionManager;
}

namespace Tessara::Keepsafe {

/// The database connection manager that queries use: the caller's, or its own.
class KEEPSAFE_API RBACDbConnectionMgr {
public:
    /// Uses `manager`, which is not owned and must outlive this object. Null: creates and owns a manager that
    /// connects as configured.
    explicit RBACDbConnectionMgr(Tessara::Dal::DbConnectionManager* manager);
    virtual ~RBACDbConnectionMgr();
    RBACDbConnectionMgr(const RBACDbConnectionMgr&) = delete;
    RBACDbConnectionMgr& operator=(const RBACDbConnectionMgr&) = delete;

    [[nodiscard]] Tessara::Dal::DbConnectionManager* getDbConnectionMgr() const noexcept { return manager_; }

    /// Whether the manager has a connection open.
    [[nodiscard]] bool connectionEstablished() const noexcept;

private:
    Tessara::Dal::DbConnectionManager* manager_;
    bool ownsManager_;
};

} // namespace Tessara::Keepsafe

#endif
