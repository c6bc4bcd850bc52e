#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_THREADHOLDS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_THREADHOLDS_H

#include <array>
#include <cstddef>

namespace Tessara::Keepsafe::Platform::filelock {

/// Which locks a thread holds. Exclusion does not depend on it: it lets a thread take a shared lock again
/// while a writer waits, and catches a thread that would wait for itself.
///
/// A fixed array without constructor or destructor: no allocation, no order of destruction at thread exit.
/// Locks beyond its size are not tracked; a thread that takes such a lock again waits at most for the gate's
/// patience.
class ThreadHolds {
public:
    enum class Kind { None, Shared, Exclusive };

    static ThreadHolds& ofThisThread() noexcept;

    [[nodiscard]] Kind find(const void* lock) const noexcept
    {
        for (std::size_t i = 0; i < used_; ++i) {
            if (holds_[i].lock == lock) {
                return holds_[i].kind;
            }
        }
        return Kind::None;
    }

    void add(const void* lock, Kind kind) noexcept;
    /// Undoes one `add`. A lock that is not present is ignored.
    void remove(const void* lock) noexcept;
    void clear() noexcept { used_ = 0; }

private:
    struct Hold {
        const void* lock;
        Kind kind;
        int depth;
    };
    static constexpr std::size_t CAPACITY = 16;

    std::array<Hold, CAPACITY> holds_;
    std::size_t used_;
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
