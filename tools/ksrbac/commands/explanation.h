#ifndef KSRBAC_COMMANDS_EXPLANATION_H
#define KSRBAC_COMMANDS_EXPLANATION_H

#include <string>

#include <keepsafe/rbac/questions/explain.h>

#include "output/Json.h"
#include "service/RoleNames.h"

namespace ksrbac {

/// An explanation for people: lines that are indented by two spaces, each with its line feed.
std::string explanationText(const Tessara::Keepsafe::Rbac::Explanation& explanation, const RoleNames& names);

/// The members "reason" and "path", and "roleNames" if a name of a role in the path is known, added to the
/// object.
void addExplanation(JsonObject& object, const Tessara::Keepsafe::Rbac::Explanation& explanation,
                    const RoleNames& names);

/// OBJECT or CHILDREN, as the service calls it.
const char* propagationName(Tessara::Keepsafe::Rbac::GrantScope scope) noexcept;

} // namespace ksrbac

#endif
