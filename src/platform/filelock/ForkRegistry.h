#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_FORKREGISTRY_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_FORKREGISTRY_H

#include <cstdint>
#include <mutex>

#include "ForkHandlers.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// Something that a child process must not take over from its parent.
class ForkAware {
public:
    ForkAware() = default;
    ForkAware(const ForkAware&) = delete;
    ForkAware& operator=(const ForkAware&) = delete;
    virtual ~ForkAware();

    /// Runs in a new child, in its only thread, with the fork mutex held.
    virtual void forgetInChild() noexcept = 0;
    /// Whether the thread of that number (`ThreadIndex`) holds something by it. Asked with the fork mutex
    /// held.
    [[nodiscard]] virtual bool isHeldBy(std::uint32_t thread) const noexcept = 0;

private:
    friend class ForkRegistry;
    ForkAware* previous_ = nullptr;
    ForkAware* next_ = nullptr;
};

/// What fork must know, by `pthread_atfork`. The fork mutex is held from before a fork until after it:
/// whatever is done under it is in a child either done or not begun. Opening and closing of lock files, the
/// table of locks and this list are all guarded by it; taking and releasing a lock is not.
class ForkRegistry {
public:
    static std::mutex& mutex() noexcept;

    /// The caller holds the fork mutex.
    static void add(ForkAware& object);
    static void remove(ForkAware& object) noexcept;

    /// Whether any of the objects is held by the thread of that number. The caller holds the fork mutex.
    [[nodiscard]] static bool anyIsHeldBy(std::uint32_t thread) noexcept;

    /// Counts the forks that lie between this process and the first one that used locks.
    static unsigned long processGeneration() noexcept;

private:
    static const Process::ForkHandlers forkHandlers;

    static void beforeFork() noexcept;
    static void afterForkInParent() noexcept;
    static void afterForkInChild() noexcept;
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
