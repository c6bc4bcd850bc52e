#include <keepsafe/rbac/api/ManagedObjectState.h>

namespace Tessara::Keepsafe::Rbac {

const char READY_STR[] = "READY";
const char PENDING_STR[] = "PENDING";
const char DELETED_STR[] = "DELETED";

} // namespace Tessara::Keepsafe::Rbac
