#ifndef KEEPSAFE_RBAC_QUESTIONS_GRANTSCOPE_H
#define KEEPSAFE_RBAC_QUESTIONS_GRANTSCOPE_H

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac {

/// Where a grant applies: on the object that has it, or on everything below that object.
enum class GrantScope { OnObject, OnChildren };

/// Where a grant is, or could be.
struct GrantPlace {
    ObjectNamespace object;
    GrantScope scope;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
