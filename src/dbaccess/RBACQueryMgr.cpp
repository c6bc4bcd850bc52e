#include <keepsafe/dbaccess/RBACQueryMgr.h>

namespace Tessara::Keepsafe {

RBACQueryMgr::~RBACQueryMgr() = default;

} // namespace Tessara::Keepsafe
