#include "WriterAttempt.h"

#include <algorithm>
#include <cerrno>

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

constexpr int MOST_REPLACEMENTS = 16;

bool succeeded(LockFile::Outcome outcome)
{
    if (outcome == LockFile::Outcome::Failed) {
        throw LockFileError(SystemErrorText(errno).text());
    }
    return outcome == LockFile::Outcome::Done;
}

} // namespace

WriterAttempt::WriterAttempt(LockFile& file, SlotBarrier& barrier, const std::string& path,
                             bool createIfMissing, const LockSettings& settings) noexcept
    : file_(file), barrier_(barrier), path_(path), createIfMissing_(createIfMissing), settings_(settings),
      openSpan_(settings.gateOpen)
{
}

bool WriterAttempt::run(const Deadline& deadline, Backoff& backoff)
{
    openFile();
    while (!tryOnce(backoff)) {
        if (deadline.passed()) {
            return false;
        }
        backoff.pause(deadline);
    }
    return true;
}

bool WriterAttempt::tryOnce(Backoff& backoff)
{
    for (int replaced = 0; replaced < MOST_REPLACEMENTS; ++replaced) {
        const Clock::time_point now = Clock::now();
        reopenWhenReplaced(now);
        letReadersThroughWhenDue(now);
        if (!tryGate(now, backoff) || !tryBarrier(now, backoff)) {
            return false;
        }
        if (hasCurrentFile()) {
            return true;
        }
        openFile();
    }
    throw LockFileError("the file is replaced again and again");
}

void WriterAttempt::openFile()
{
    barrier_.lower();
    gateShut_ = false;
    pathCheckedAt_ = Clock::now();
    file_.open(path_, LockFile::Access::ReadWrite, createIfMissing_);
}

/// Takes the data lock when no reader is inside by a slot. While some are, only the barrier keeps newcomers
/// from the slots and the data lock is left to others: a writer that is stopped while it waits blocks nobody.
bool WriterAttempt::tryBarrier(Clock::time_point now, Backoff& backoff)
{
    const bool isInForce = barrier_.isInForce();
    if (isInForce) {
        slotsWereRaised_ = !barrier_.isClear();
    }
    // If readers with slots take long, the data lock is available at any time; raising the barrier would keep
    // all others out.
    const bool waitsForSlots = slotsWereRaised_ && (isInForce || now < openUntil_);
    if (waitsForSlots || !succeeded(file_.tryLockData())) {
        return false;
    }
    // Between two attempts another writer may have been inside and have let the readers in again.
    if (!barrier_.isInForce() && !raiseBarrier(now, backoff)) {
        return false;
    }
    slotsWereRaised_ = !barrier_.isClear();
    if (slotsWereRaised_) {
        succeeded(file_.unlockData());
        return false;
    }
    return true;
}

/// False: the lock turned out to be on another file, or on none, or the barrier is not in force.
bool WriterAttempt::raiseBarrier(Clock::time_point now, Backoff& backoff)
{
    if (!hasCurrentFile()) {
        openFile();
        return false;
    }
    const bool stands = barrier_.raise();
    // Checked again: if the lock was lost before the count was made odd, another writer may be inside by the
    // count that was replaced.
    if (!hasCurrentFile()) {
        openFile();
        return false;
    }
    barrier_.confirm();
    if (!stands) {
        succeeded(file_.unlockAll());
        gateShut_ = false;
        return false;
    }
    if (!gateShut_) {
        readersKeptOutSince_ = now;
    }
    backoff.restart(); // no newcomers: the readers are gone soon
    return true;
}

bool WriterAttempt::hasCurrentFile() const noexcept { return file_.isIntact() && file_.isCurrent(path_); }

/// Whether the data lock may be tried now.
bool WriterAttempt::tryGate(Clock::time_point now, Backoff& backoff)
{
    if (!settings_.gate || gateShut_ || now < openUntil_) {
        return true;
    }
    if (succeeded(file_.tryLockGate())) {
        if (otherWriterSeen_) {
            leaveReadersAGap();
            return false;
        }
        gateShut_ = true;
        if (!barrier_.isRaised()) {
            readersKeptOutSince_ = now;
        }
        barrier_.raiseEarly(); // or readers with slots would go on and take the processors from those inside
        backoff.restart();     // with the gate shut the readers are gone soon
        return true;
    }
    if (!otherWriterSeen_) {
        otherWriterSeen_ = true;
        refusedSince_ = now;
    }
    // The other one may be stopped; then only the data lock decides.
    return now - refusedSince_ >= settings_.gatePatience;
}

/// Readers also get a rest between the holds of two writers.
void WriterAttempt::leaveReadersAGap()
{
    succeeded(file_.unlockGate());
    otherWriterSeen_ = false;
    sleepOnce(settings_.writerRest);
}

void WriterAttempt::letReadersThroughWhenDue(Clock::time_point now)
{
    if ((!gateShut_ && !barrier_.isRaised()) || now - readersKeptOutSince_ < settings_.gateShut) {
        return;
    }
    barrier_.lower();
    succeeded(file_.unlockAll());
    gateShut_ = false;
    openUntil_ = now + openSpan_;
    openSpan_ = std::min<Clock::duration>(openSpan_ * 2, settings_.gateOpenLongest);
}

/// Holders of a file that has been replaced no longer matter.
void WriterAttempt::reopenWhenReplaced(Clock::time_point now)
{
    if (now - pathCheckedAt_ < settings_.pathCheckInterval) {
        return;
    }
    pathCheckedAt_ = now;
    if (!file_.isCurrent(path_)) {
        openFile();
    }
}

} // namespace Tessara::Keepsafe::Platform::filelock
