#ifndef KSRBAC_COMMANDS_ROLES_H
#define KSRBAC_COMMANDS_ROLES_H

#include <cstddef>
#include <list>
#include <string>

#include <keepsafe/rbac/api/Roles.h>

#include "io/Console.h"

/// \file
/// Shared by the commands for roles.

namespace ksrbac {

void printRoles(const std::list<Tessara::Keepsafe::Rbac::Role>& roles, bool json, Console& console);

/// The text if the service accepts it as a role's name. `name` is the argument's, for the `InputError` thrown
/// otherwise.
std::string requireRoleName(const std::string& name, const std::string& text, std::size_t longest);

/// The same for the text of --description.
std::string requireRoleDescription(const std::string& text);

} // namespace ksrbac

#endif
