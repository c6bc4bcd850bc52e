#ifndef KEEPSAFE_SANDBOX_COMMANDS_OPTIONS_H
#define KEEPSAFE_SANDBOX_COMMANDS_OPTIONS_H

#include <string>

#include <CLI/CLI.hpp>

#include "cachewriter/CacheLocation.h"
#include "cachewriter/OperationCacheUpdate.h"

namespace keepsafe_sandbox {

/// The flag of commands whose policy may let published operations change their bits.
void addRenumberFlag(CLI::App& command, bool& renumber);

/// The options of commands that publish a cache.
class PublishOptions {
public:
    void addTo(CLI::App& command);

    /// Under a root that need not be there.
    [[nodiscard]] keepsafe_service::CacheLocation location() const;
    /// Throws `InputError` when the root is not there.
    [[nodiscard]] keepsafe_service::CacheLocation locationInExistingRoot() const;
    [[nodiscard]] keepsafe_service::Renumber renumber() const noexcept
    {
        return renumber_ ? keepsafe_service::Renumber::Allow : keepsafe_service::Renumber::Refuse;
    }

private:
    std::string root_;
    std::string cacheId_;
    bool renumber_ = false;
};

} // namespace keepsafe_sandbox

#endif
