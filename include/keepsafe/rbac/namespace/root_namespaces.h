#ifndef KEEPSAFE_RBAC_NAMESPACE_ROOT_NAMESPACES_H
#define KEEPSAFE_RBAC_NAMESPACE_ROOT_NAMESPACES_H

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// The predefined namespaces, built when the library is loaded. Their text forms are computed at once, so
/// they may be shared between threads as they are. Static objects of other libraries must not use them in
/// their constructors.

namespace Tessara::Keepsafe::Rbac::root_namespaces {

extern KEEPSAFE_API const ObjectNamespace KEEPSAFE;     ///< |KEEPSAFE|
extern KEEPSAFE_API const ObjectNamespace SECURITY;     ///< |SECURITY|
extern KEEPSAFE_API const ObjectNamespace MANAGE;       ///< |MANAGE|
extern KEEPSAFE_API const ObjectNamespace PROTECTION;   ///< |PROTECTION|
extern KEEPSAFE_API const ObjectNamespace STORAGE;      ///< |STORAGE|
extern KEEPSAFE_API const ObjectNamespace DEPLOYMENT;   ///< |DEPLOYMENT|
extern KEEPSAFE_API const ObjectNamespace OBJECT_TYPES; ///< |OBJECT_TYPES|
extern KEEPSAFE_API const ObjectNamespace ASSETS;       ///< |ASSETS|

namespace operations {

extern KEEPSAFE_API const ObjectNamespace VIEW;          ///< |OPERATIONS|VIEW|
extern KEEPSAFE_API const ObjectNamespace ADD;           ///< |OPERATIONS|ADD|
extern KEEPSAFE_API const ObjectNamespace UPDATE;        ///< |OPERATIONS|UPDATE|
extern KEEPSAFE_API const ObjectNamespace DELETE_NS;     ///< |OPERATIONS|DELETE|
extern KEEPSAFE_API const ObjectNamespace MANAGE_ACCESS; ///< |OPERATIONS|MANAGE_ACCESS|

} // namespace operations

} // namespace Tessara::Keepsafe::Rbac::root_namespaces

#endif
