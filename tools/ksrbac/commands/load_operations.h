#ifndef KSRBAC_COMMANDS_LOAD_OPERATIONS_H
#define KSRBAC_COMMANDS_LOAD_OPERATIONS_H

#include <keepsafe/cache/OperationCache.h>

namespace ksrbac {

/// Reads the operation cache file. `EC_exception` passes through; other failures, which name a malformed key
/// or value without its place, are thrown again as `std::runtime_error` with the file's path in front.
void loadOperations(Tessara::Keepsafe::Rbac::OperationCache& operations);

} // namespace ksrbac

#endif
