#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_BUSERRORGUARD_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_BUSERRORGUARD_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Tessara::Keepsafe::Platform::filelock {

/// Keeps the process alive when a file that it has mapped is truncated: an access beyond the file's end then
/// finds a private page of zeros instead of SIGBUS.
///
/// The handler is installed with the first guard, and only if SIGBUS would terminate the process; a handler
/// of the host program stays. It acts only on addresses in guarded mappings. Any other SIGBUS terminates the
/// process as it would have without the handler.
///
/// Guards are made under the fork mutex, and released before their mapping.
class BusErrorGuard {
public:
    BusErrorGuard() = default;
    BusErrorGuard(const BusErrorGuard&) = delete;
    BusErrorGuard& operator=(const BusErrorGuard&) = delete;
    ~BusErrorGuard() { forget(); }

    /// Guards the mapping of `size` bytes, whole pages, which this object guards until `forget`. When a page
    /// is missing, `*epoch` becomes a different odd number before anything is read from its replacement. A
    /// process can guard a limited number of mappings; further ones are not guarded.
    void guard(void* address, std::size_t size, std::atomic<std::uint64_t>* epoch) noexcept;
    void forget() noexcept;

private:
    int place_ = -1;
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
