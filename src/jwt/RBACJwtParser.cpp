#include <keepsafe/jwt/RBACJwtParser.h>

namespace Tessara::Keepsafe {

RBACJwtParser::~RBACJwtParser() = default;

} // namespace Tessara::Keepsafe
