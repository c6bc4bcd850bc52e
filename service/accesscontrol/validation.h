#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_VALIDATION_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_VALIDATION_H

#include <cstddef>
#include <string>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "accesscontrol/faults.h"

/// \file
/// Which texts can be kept. Each function adds a fault for each thing that is wrong.

namespace keepsafe_service {

/// Longest names of roles. Those of new ones are shorter on purpose.
constexpr std::size_t MOST_NEW_ROLE_NAME_BYTES = 64;
constexpr std::size_t MOST_ROLE_NAME_BYTES = 256;

void checkRoleName(const std::string& name, std::size_t mostBytes, Faults& faults);
void checkRoleDescription(const std::string& description, Faults& faults);
void checkObjectName(const Tessara::Keepsafe::Rbac::ObjectNamespace& ns, Faults& faults);
/// `object`: whose type it is, for messages.
void checkObjectType(const std::string& object, const std::string& type, Faults& faults);

} // namespace keepsafe_service

#endif
