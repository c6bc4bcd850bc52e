#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_READERCOUNT_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_READERCOUNT_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Tessara::Keepsafe::Platform::filelock {

/// How the threads of a process share one kernel lock: the first reader takes it, those that overlap join and
/// leave by a count, the last releases it.
///
/// One atomic word holds, from its lowest bit: how many readers there are; whether one thread is taking or
/// releasing the kernel lock; how many attempts to take it have failed; how many acquisitions there were that
/// were not nested, modulo 256.
///
/// INVARIANT: while the kernel lock is being taken, the readers are the thread that takes it and those that
/// arrived meanwhile. If that succeeds, all of them have the lock; if it fails, none has, and the count of
/// failures shows it. Without this, threads in tight loops would rarely overlap: each is inside the system
/// calls most of the time, and the others would have to hit the moment in between.
///
/// INVARIANT: while the kernel lock is being released, there are no readers, and newcomers wait.
///
/// So the descriptor belongs to the thread that takes or releases, and otherwise to all readers.
class ReaderCount {
public:
    struct Entry {
        bool first;    ///< the caller must take the kernel lock and report the outcome
        bool asksGate; ///< this acquisition checks the gate: every 8th does
    };

    /// Counts the caller as a reader, after a short wait when another thread is taking or releasing.
    Entry enter(bool nested) noexcept;
    void takingSucceeded() noexcept;
    /// There are no readers any more: neither the caller nor those that arrived meanwhile.
    void takingFailed() noexcept;
    /// Returns whether the caller was the last: it must release the kernel lock and then call `released`.
    [[nodiscard]] bool leave() noexcept;
    void released() noexcept;
    /// The number of acquisitions held now.
    [[nodiscard]] std::size_t readers() const noexcept;
    /// In a forked child.
    void forget() noexcept { word_.store(0, std::memory_order_relaxed); }

private:
    [[nodiscard]] bool takenByTheFirst(std::uint64_t wordBefore) const noexcept;

    std::atomic<std::uint64_t> word_{0};
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
