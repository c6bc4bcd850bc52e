#ifndef KSRBAC_COMMANDS_ACCESS_DEFINITIONS_H
#define KSRBAC_COMMANDS_ACCESS_DEFINITIONS_H

#include <list>

#include <keepsafe/rbac/api/ManagedObjects.h>

#include "io/Console.h"
#include "service/RoleNames.h"

namespace ksrbac {

/// With the names of the roles. Asks for them unless they are known; without them a note says why.
void printAccessDefinitions(const std::list<Tessara::Keepsafe::Rbac::AccessDefinition>& definitions,
                            RoleNames& names, bool json, Console& console);

} // namespace ksrbac

#endif
