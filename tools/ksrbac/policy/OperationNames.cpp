#include "policy/OperationNames.h"

#include "commands/load_operations.h"

namespace ksrbac {

OperationNames::OperationNames()
{
    Tessara::Keepsafe::Rbac::OperationCache operations;
    loadOperations(operations);
    for (const auto& [operation, bit] : operations.operations()) {
        names_.emplace(bit.offset, operation.str());
        bits_.emplace(operation.str(), bit.offset);
    }
}

std::string OperationNames::nameOf(Tessara::Keepsafe::Rbac::Operation operation) const
{
    const auto found = names_.find(operation.offset);
    return found != names_.end() ? found->second : "bit " + std::to_string(operation.offset);
}

} // namespace ksrbac
