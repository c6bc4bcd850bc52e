#ifndef KSRBAC_COMMANDS_HOST_OPERATIONS_H
#define KSRBAC_COMMANDS_HOST_OPERATIONS_H

#include "io/Console.h"

namespace ksrbac {

/// Prints the operations of this host's operation cache with their permission bits, by bit. Throws what
/// `loadOperations` throws.
void printHostOperations(bool json, Console& console);

} // namespace ksrbac

#endif
