#ifndef KEEPSAFE_RBAC_API_MANAGEDOBJECTSTATE_H
#define KEEPSAFE_RBAC_API_MANAGEDOBJECTSTATE_H

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Rbac {

/// How far an object's registration has come.
enum ManagedObjectState : int {
    READY = 0,   ///< registered
    PENDING = 1, ///< registered and not yet confirmed
    DELETED = 2  ///< about to vanish
};

/// The states as the service names them.
KEEPSAFE_API extern const char READY_STR[];
KEEPSAFE_API extern const char PENDING_STR[];
KEEPSAFE_API extern const char DELETED_STR[];

} // namespace Tessara::Keepsafe::Rbac

#endif
