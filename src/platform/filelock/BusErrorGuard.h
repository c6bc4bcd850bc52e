#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_BUSERRORGUARD_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_BUSERRORGUARD_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Tessara::Keepsafe::Platform::filelock {

/// Keeps the process alive when a file that it has mapped is cut short: an access beyond the file's end then
/// finds a page of zeros, which belongs to this process alone, in place of SIGBUS.
///
/// The handler is installed with the first guard, and only where SIGBUS would end the process; a handler of
/// the host program stays. It acts on addresses of guarded mappings alone. Any other SIGBUS ends the process
/// as it would have without the handler.
///
/// Guards are made under the fork mutex, and given up before their mapping.
class BusErrorGuard {
public:
    BusErrorGuard() = default;
    BusErrorGuard(const BusErrorGuard&) = delete;
    BusErrorGuard& operator=(const BusErrorGuard&) = delete;
    ~BusErrorGuard() { forget(); }

    /// Guards the mapping of `size` bytes, whole pages, which this object guards until `forget`. When a page
    /// is missing, `*epoch` is made another odd number before anything is read from its replacement. There is
    /// room for a limited number of mappings in a process; beyond it nothing is guarded.
    void guard(void* address, std::size_t size, std::atomic<std::uint64_t>* epoch) noexcept;
    void forget() noexcept;

private:
    int place_ = -1;
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
