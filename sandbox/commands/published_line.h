#ifndef KEEPSAFE_SANDBOX_COMMANDS_PUBLISHED_LINE_H
#define KEEPSAFE_SANDBOX_COMMANDS_PUBLISHED_LINE_H

#include <cstdint>
#include <string>

#include "cachewriter/CacheLocation.h"
#include "policy/Policy.h"

namespace keepsafe_sandbox {

/// The output of a command that has published a policy.
std::string publishedLine(const keepsafe_service::CacheLocation& location, std::uint64_t generation,
                          const Policy& policy);

} // namespace keepsafe_sandbox

#endif
