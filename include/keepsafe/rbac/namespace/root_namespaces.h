#ifndef KEEPSAFE_RBAC_NAMESPACE_ROOT_NAMESPACES_H
#define KEEPSAFE_RBAC_NAMESPACE_ROOT_NAMESPACES_H

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// The predefined namespaces, built when the library is loaded. Their text forms are computed at once, so
/// they may be shared between threads as they are.
///
/// Constructors of static objects must not use them in code that may be initialised before this library: in
/// another library that is loaded together with it without being linked to it, or in a static library inside
/// it. A program, and a library that is linked to this one, are initialised later and may.

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
