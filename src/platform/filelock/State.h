#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_STATE_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_STATE_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <keepsafe/platform/filelock/FileLock.h>

#include "Backoff.h"
#include "ForkRegistry.h"
#include "GatePatience.h"
#include "LockFile.h"
#include "LockSettings.h"
#include "ReaderCount.h"
#include "ReaderSlots.h"
#include "RepeatedLines.h"
#include "SlotBarrier.h"

/// One name's lock in this process. Readers enter by the slots of `ReaderSlots` where they can. Otherwise
/// they share the process's one kernel lock, which `ReaderCount` divides among the threads. A writer has its
/// own descriptor, so it treats this process's readers like those of other processes.
///
/// INVARIANT: `readers_` is opened and closed by the thread that takes the kernel lock as the first reader,
/// and used by it and by the counted readers. So no thread uses a descriptor that another one closes.
class __attribute__((visibility("hidden"))) FileLock::State final
    : public Tessara::Keepsafe::Platform::filelock::ForkAware {
public:
    using LockSettings = Tessara::Keepsafe::Platform::filelock::LockSettings;
    using ReaderSlots = Tessara::Keepsafe::Platform::filelock::ReaderSlots;

    struct Wait {
        int timeoutMs;
        Tessara::Keepsafe::Platform::filelock::Clock::duration longestPause;
    };

    /// A lock outside the manager's table: for that table, and for a control experiment with its own
    /// settings. The caller holds the fork mutex.
    static std::shared_ptr<State> create(const std::string& name, const LockSettings& settings = {});
    static FileLock handle(std::shared_ptr<State> state, MissingFile missing);

    State(const std::string& name, const LockSettings& settings);
    ~State() override;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    /// How a shared lock is held: by a slot or, without one, by the kernel lock.
    using Hold = ReaderSlots::Hold;

    /// Takes the shared lock by a slot if that is possible at once.
    Hold tryShareBySlot() noexcept { return slots_.tryEnter(); }
    [[nodiscard]] bool isHeldBySlotOfThisThread() const noexcept { return slots_.isHeldByThisThread(); }
    static void unlockSlot(ReaderSlots::Own& slot) noexcept { ReaderSlots::leave(slot); }

    /// `nested`: this thread already holds the lock, so waiting for a writer would be waiting for itself.
    /// `hasWaited`: whether it was not free at once. Throw `LockFileError` and `FileLockTimeout`.
    Hold lockShared(MissingFile missing, const Wait& wait, bool nested, bool& hasWaited);
    void lockExclusive(MissingFile missing, const Wait& wait);
    /// Return 0, or the system's error: the lock had been lost before.
    int unlockShared() noexcept;
    int unlockExclusive() noexcept;

    /// Those that say why a reader cannot take the lock.
    [[nodiscard]] Tessara::Keepsafe::Process::RepeatedLines& repeatedLines() noexcept
    {
        return repeatedLines_;
    }

    [[nodiscard]] const ReaderSlots& slots() const noexcept { return slots_; }
    /// For the calling thread's shared lock: whether its file is the one at the path. If not, the next
    /// acquisition looks, too.
    [[nodiscard]] bool isCurrent(bool bySlot) noexcept;
    /// Whether threads of this process hold the kernel lock as readers, not counting the calling thread's
    /// latest acquisition.
    [[nodiscard]] bool othersHoldKernelLock() const noexcept;

    void forgetInChild() noexcept override;
    [[nodiscard]] bool isHeldBy(std::uint32_t thread) const noexcept override
    {
        return slots_.isHeldBy(thread);
    }

private:
    using Deadline = Tessara::Keepsafe::Platform::filelock::Deadline;
    using Backoff = Tessara::Keepsafe::Platform::filelock::Backoff;
    using Clock = Tessara::Keepsafe::Platform::filelock::Clock;
    using ReaderCount = Tessara::Keepsafe::Platform::filelock::ReaderCount;
    using LockFile = Tessara::Keepsafe::Platform::filelock::LockFile;
    using SlotBarrier = Tessara::Keepsafe::Platform::filelock::SlotBarrier;
    using OnceInAWhile = Tessara::Keepsafe::Process::OnceInAWhile;

    enum class Attempt { Taken, GateShut, Held, Replaced };
    enum class Gate { AskSometimes, Ask, Ignore };
    class Taking;
    class WriterSlot;

    Hold waitShared(MissingFile missing, const Wait& wait, Attempt refused);
    Attempt tryShared(MissingFile missing, Gate gate);
    Attempt join(bool askGate);
    Attempt takeFirst(MissingFile missing, bool askGate);
    Attempt takeKernelLock(bool askGate);
    LockFile::Outcome askGateOfReaders() noexcept;
    [[nodiscard]] bool pathCheckIsDue() noexcept;
    void restAfterLastHold() const noexcept;

    const std::string name_;
    const LockSettings settings_;
    ReaderSlots slots_{name_, settings_};
    ReaderCount count_;
    LockFile readers_;
    Tessara::Keepsafe::Platform::filelock::GatePatience patience_{settings_};
    OnceInAWhile pathCheck_;
    std::atomic<bool> writerPresent_{false}; ///< whose holder alone uses the rest
    LockFile writer_;
    SlotBarrier barrier_{name_, settings_};
    Clock::time_point lastExclusiveHold_;
    Tessara::Keepsafe::Process::RepeatedLines repeatedLines_;
};

#endif
