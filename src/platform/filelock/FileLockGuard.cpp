#include <keepsafe/platform/filelock/FileLock.h>

#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "ForkRegistry.h"
#include "State.h"
#include "ThreadHolds.h"

using Tessara::Keepsafe::Platform::LOG_LEVEL_ERROR;
using Tessara::Keepsafe::Platform::filelock::Clock;
using Tessara::Keepsafe::Platform::filelock::ForkRegistry;
using Tessara::Keepsafe::Platform::filelock::LockFileError;
using Tessara::Keepsafe::Platform::filelock::ReaderSlots;
using Tessara::Keepsafe::Platform::filelock::SystemErrorText;
using Tessara::Keepsafe::Platform::filelock::ThreadHolds;
using Tessara::Keepsafe::Process::RepeatedLines;

namespace {

constexpr const char* TAG = "FileLockGuard";

void logFailure(const FileLock& lock, const char* reason, const char* more = "") noexcept
{
    logmsgf(LOG_LEVEL_ERROR, TAG, "Cannot lock %s: %s%s", lock.name().c_str(), reason, more);
}

/// A reader tries again at every check.
void logRepeatedFailure(const FileLock& lock, RepeatedLines& repeated, const char* reason) noexcept
{
    const auto heldBack = repeated.admit(reason);
    if (!heldBack) {
        return;
    }
    std::array<char, 48> more{};
    if (*heldBack != 0) {
        static_cast<void>(
            std::snprintf(more.data(), more.size(), " (%" PRIu64 " more like this)", *heldBack));
    }
    logFailure(lock, reason, more.data());
}

[[noreturn]] void refuse(const FileLock& lock, const char* reason)
{
    logFailure(lock, reason);
    throw EC_exception(Tessara::Keepsafe::Status::INVALID_ARGUMENT);
}

void refuseUnlessPossible(const FileLock& lock, int lockType, int timeoutMs, ThreadHolds::Kind held)
{
    if (lockType != FileLock::SHARED && lockType != FileLock::EXCLUSIVE) {
        refuse(lock, "the lock type is neither 0 nor 1");
    }
    if (timeoutMs < FileLock::WAIT_FOREVER) {
        refuse(lock, "the timeout is below -1");
    }
    if (held == ThreadHolds::Kind::Exclusive) {
        refuse(lock, "this thread holds it exclusively");
    }
    if (held == ThreadHolds::Kind::Shared && lockType == FileLock::EXCLUSIVE) {
        refuse(lock, "this thread holds it shared and would wait for itself");
    }
}

Clock::duration toDuration(const ACE_Time_Value& value)
{
    // At most some minutes: a deadline is checked only after a pause.
    constexpr std::int64_t LONGEST_SECONDS = 600;
    if (value.sec() >= LONGEST_SECONDS) {
        return std::chrono::seconds(LONGEST_SECONDS);
    }
    return std::chrono::seconds(value.sec()) + std::chrono::microseconds(value.usec());
}

} // namespace

FileLockGuard::FileLockGuard(const FileLock& lock, int lockType, int timeoutMs,
                             const ACE_Time_Value& retryInterval)
    : state_(lock.state_.get()), generation_(ForkRegistry::processGeneration()), lockType_(lockType)
{
    if (lockType == FileLock::SHARED && timeoutMs >= FileLock::WAIT_FOREVER) {
        const FileLock::State::Hold hold = state_->tryShareBySlot();
        slot_ = hold.slot;
        writes_ = hold.writes;
    }
    if (slot_ == nullptr) {
        takeSlowly(lock, timeoutMs, retryInterval);
    }
}

void FileLockGuard::takeSlowly(const FileLock& lock, int timeoutMs, const ACE_Time_Value& retryInterval)
{
    ThreadHolds& holds = ThreadHolds::ofThisThread();
    const ThreadHolds::Kind held =
        state_->isHeldBySlotOfThisThread() ? ThreadHolds::Kind::Shared : holds.find(state_);
    refuseUnlessPossible(lock, lockType_, timeoutMs, held);
    const FileLock::State::Wait wait{timeoutMs, toDuration(retryInterval)};
    try {
        if (lockType_ == FileLock::EXCLUSIVE) {
            state_->lockExclusive(lock.missing_, wait);
            holds.add(state_, ThreadHolds::Kind::Exclusive);
            return;
        }
        const FileLock::State::Hold hold =
            state_->lockShared(lock.missing_, wait, held == ThreadHolds::Kind::Shared, hasWaited_);
        slot_ = hold.slot;
        writes_ = hold.writes;
        if (slot_ == nullptr) {
            holds.add(state_, ThreadHolds::Kind::Shared);
        }
    } catch (const LockFileError& error) {
        if (lockType_ == FileLock::SHARED) {
            logRepeatedFailure(lock, state_->repeatedLines(), error.what());
        } else {
            logFailure(lock, error.what());
        }
        throw FileLockUnavailable();
    }
}

bool FileLockGuard::isCurrent() const noexcept { return state_->isCurrent(slot_ != nullptr); }

FileLockGuard::~FileLockGuard()
{
    if (generation_ != ForkRegistry::processGeneration()) {
        return; // inherited through a fork: the lock is the parent's
    }
    if (slot_ != nullptr) {
        FileLock::State::unlockSlot(*static_cast<ReaderSlots::Own*>(slot_));
        return;
    }
    const int error = lockType_ == FileLock::SHARED ? state_->unlockShared() : state_->unlockExclusive();
    ThreadHolds::ofThisThread().remove(state_);
    if (error != 0) {
        logmsgf(LOG_LEVEL_ERROR, TAG, "The lock on %s was lost while it was held: %s", state_->name().c_str(),
                SystemErrorText(error).text());
    }
}
