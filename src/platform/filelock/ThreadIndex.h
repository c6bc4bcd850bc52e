#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_THREADINDEX_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_THREADINDEX_H

#include <cstdint>

namespace Tessara::Keepsafe::Platform::filelock {

/// Numbers the threads of the process from 0: no two living threads have the same number, and the numbers of
/// threads that have ended are reused, the smallest first.
///
/// A thread that has released its number while ending, and one for which none was left, has `NONE`.
class ThreadIndex {
public:
    static constexpr std::uint32_t CAPACITY = 511;
    static constexpr std::uint32_t NONE = CAPACITY;

    /// The calling thread's number; it gets one with the first call.
    static std::uint32_t ofThisThread() noexcept { return number < CAPACITY ? number : take(); }

    /// In a new child's only thread: the numbers of the parent's other threads are free again. The caller
    /// holds the fork mutex.
    static void forgetOtherThreads() noexcept;

private:
    friend class ThreadIndexReturn;
    static std::uint32_t take() noexcept;

    // Read on every lock: this model makes that one load instead of a call, at the cost of four bytes of the
    // memory that the loader reserves for libraries that are loaded later. `__thread`, because access to a
    // `thread_local` of another source goes through a function.
    static __thread std::uint32_t number __attribute__((tls_model("initial-exec")));
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
