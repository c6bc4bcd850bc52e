#ifndef KEEPSAFE_SRC_PROCESS_REPLACE_PAGES_H
#define KEEPSAFE_SRC_PROCESS_REPLACE_PAGES_H

#include <cstddef>
#include <cstdint>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Tessara::Keepsafe::Process {

/// Maps other pages over existing ones. Threads may use the memory meanwhile: they find the old pages or the
/// new ones, and must be able to tell by other means. `flags` and `file` as for mmap; MAP_FIXED is added.
///
/// It is the bare system call: signal handlers may make it, and ThreadSanitizer takes the function `mmap` for
/// a write of all bytes, which would race with those threads.
inline bool replacePages(void* address, std::size_t size, int protection, int flags, int file = -1) noexcept
{
    const long mapped = syscall(SYS_mmap, address, size, protection, flags | MAP_FIXED, file, 0L);
    return mapped == static_cast<long>(reinterpret_cast<std::uintptr_t>(address));
}

} // namespace Tessara::Keepsafe::Process

#endif
