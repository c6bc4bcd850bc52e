#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCKSETTINGS_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_LOCKSETTINGS_H

#include <chrono>

namespace Tessara::Keepsafe::Platform::filelock {

/// The settings for fairness between readers and writers; docs/locking.md gives the reasons for the values.
/// All processes that share a lock should use the same ones, so the product has one set. Only a control
/// experiment, which shows the effect of the gate, uses another.
struct LockSettings {
    /// Without the gate exclusion is the same, but a writer gets in only when readers happen to leave a gap.
    bool gate = true;
    /// Whether readers use slots where they can. Without them they take the kernel lock.
    bool slots = true;
    /// How long a waiting writer keeps the gate shut before it lets the readers through again.
    std::chrono::milliseconds gateShut{50};
    /// How long it then stays open; doubles each time up to `gateOpenLongest`.
    std::chrono::milliseconds gateOpen{10};
    std::chrono::milliseconds gateOpenLongest{1000};
    /// How long a reader or a writer respects a gate that never opens: the writer that shut it may be
    /// stopped, or there are many writers. It then tries the data lock directly.
    std::chrono::milliseconds gatePatience{60};
    /// Pause between two exclusive holds, in which waiting readers get in.
    std::chrono::microseconds writerRest{1000};
    /// How old the last comparison of the open file with the one at the path may be.
    std::chrono::milliseconds pathCheckInterval{10};
    /// How long a process that could not make its file of slots waits before it tries again.
    std::chrono::milliseconds registrationRetry{1000};
    /// How long a writer that finds no control page waits before it changes anything: until they next check
    /// the path, readers may rely on a page that has been removed.
    std::chrono::milliseconds newPageWait{25};
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
