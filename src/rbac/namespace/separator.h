#ifndef KEEPSAFE_RBAC_NAMESPACE_SEPARATOR_H
#define KEEPSAFE_RBAC_NAMESPACE_SEPARATOR_H

namespace Tessara::Keepsafe::Rbac {

/// Stands before, between and behind the segments of a name's text.
inline constexpr char SEPARATOR = '|';

} // namespace Tessara::Keepsafe::Rbac

#endif
