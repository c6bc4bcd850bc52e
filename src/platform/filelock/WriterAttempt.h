#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_WRITERATTEMPT_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_WRITERATTEMPT_H

#include <string>

#include "Backoff.h"
#include "LockFile.h"
#include "LockSettings.h"
#include "SlotBarrier.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// One writer's steps to the exclusive lock: it shuts the gate, so that no new readers enter, waits for the
/// data lock, and raises the barrier against readers with slots. While some of these are inside, it waits
/// without the data lock. Whenever that takes too long, it releases everything and lets the readers through
/// for a while.
class WriterAttempt {
public:
    WriterAttempt(LockFile& file, SlotBarrier& barrier, const std::string& path, bool createIfMissing,
                  const LockSettings& settings) noexcept;

    /// Returns with the lock on the file that the path leads to, and the barrier raised. False: the deadline
    /// passed. Throws `LockFileError`. In both cases the caller lowers the barrier and closes the file, which
    /// releases the gate.
    bool run(const Deadline& deadline, Backoff& backoff);

private:
    bool tryOnce(Backoff& backoff);
    void openFile();
    bool tryBarrier(Clock::time_point now, Backoff& backoff);
    bool raiseBarrier(Clock::time_point now, Backoff& backoff);
    [[nodiscard]] bool hasCurrentFile() const noexcept;
    bool tryGate(Clock::time_point now, Backoff& backoff);
    void letReadersThroughWhenDue(Clock::time_point now);
    void reopenWhenReplaced(Clock::time_point now);
    void leaveReadersAGap();

    LockFile& file_;
    SlotBarrier& barrier_;
    const std::string& path_;
    const bool createIfMissing_;
    const LockSettings& settings_;
    bool gateShut_ = false;
    bool slotsWereRaised_ = false; ///< why the last attempt failed
    bool otherWriterSeen_ = false;
    Clock::time_point readersKeptOutSince_; ///< by the gate or the barrier
    Clock::time_point openUntil_;
    Clock::time_point refusedSince_;
    Clock::time_point pathCheckedAt_;
    Clock::duration openSpan_;
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
