#include "commands/published_line.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheLocation;

std::string publishedLine(const CacheLocation& location, std::uint64_t generation, const Policy& policy)
{
    return location.accessCache() + ": generation " + std::to_string(generation) + ", " +
           std::to_string(policy.objects.size()) + " objects, " +
           std::to_string(policy.accessDefinitions.size()) + " access definitions, " +
           std::to_string(policy.roles.size()) + " roles, " + std::to_string(policy.operations.size()) +
           " operations";
}

} // namespace keepsafe_sandbox
