#ifndef KEEPSAFE_PLATFORM_MAPPING_MAPPINGGUARD_H
#define KEEPSAFE_PLATFORM_MAPPING_MAPPINGGUARD_H

#include <cstddef>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Platform {

/// Keeps the process alive when a file that it has mapped is truncated: an access beyond the file's end then
/// finds a private page of zeros instead of SIGBUS.
///
/// The handler is installed with the first guard, and only if SIGBUS would terminate the process; a handler
/// of the host program stays. It acts only on addresses in guarded mappings. Any other SIGBUS terminates the
/// process as it would have without the handler.
///
/// Threads: distinct guards are independent. Give a guard up before its mapping. A child made by fork
/// inherits guards together with the mappings.
class KEEPSAFE_API MappingGuard {
public:
    /// Called in the signal handler, before anything is read from the page of zeros: it may only do what a
    /// signal handler may do.
    using PageMissing = void (*)(void* context) noexcept;

    MappingGuard() = default;
    MappingGuard(const MappingGuard&) = delete;
    MappingGuard& operator=(const MappingGuard&) = delete;
    ~MappingGuard() { forget(); }

    /// Guards the mapping of `size` bytes at `address` until `forget`. `pageMissing` may be null. A process
    /// can guard 4096 mappings; further ones are not guarded.
    void guard(const void* address, std::size_t size, PageMissing pageMissing, void* context) noexcept;
    void forget() noexcept;

private:
    int place_ = -1;
};

} // namespace Tessara::Keepsafe::Platform

#endif
