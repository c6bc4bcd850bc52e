#ifndef KSRBAC_COMMANDS_ACCESS_DEFINITIONS_H
#define KSRBAC_COMMANDS_ACCESS_DEFINITIONS_H

#include <list>

#include <keepsafe/rbac/api/ManagedObjects.h>

#include "io/Console.h"

namespace ksrbac {

void printAccessDefinitions(const std::list<Tessara::Keepsafe::Rbac::AccessDefinition>& definitions,
                            bool json, Console& console);

} // namespace ksrbac

#endif
