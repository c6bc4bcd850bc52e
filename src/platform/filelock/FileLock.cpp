#include <keepsafe/platform/filelock/FileLock.h>

#include <utility>

#include <keepsafe/platform/status/status_codes.h>

#include "State.h"

FileLockUnavailable::FileLockUnavailable() : EC_exception(Tessara::Keepsafe::Status::CACHE_UNUSABLE) {}
FileLockUnavailable::~FileLockUnavailable() = default;

FileLockTimeout::FileLockTimeout() : EC_exception(Tessara::Keepsafe::Status::CACHE_UNUSABLE) {}
FileLockTimeout::~FileLockTimeout() = default;

// Not longer than a writer's rest, or waiting readers would miss the gaps between two exclusive holds.
const ACE_Time_Value FileLock::DEFAULT_INTERVAL(0, 1000);

FileLock::FileLock(std::shared_ptr<State> state, MissingFile missing) noexcept
    : state_(std::move(state)), missing_(missing)
{
}
FileLock::FileLock(const FileLock&) noexcept = default;
FileLock& FileLock::operator=(const FileLock&) noexcept = default;
FileLock::~FileLock() = default;

const std::string& FileLock::name() const noexcept { return state_->name(); }

FileLock::OtherHolders FileLock::otherHolders() const { return OtherHolders(*state_); }

FileLock::OtherHolders::OtherHolders() noexcept = default;
FileLock::OtherHolders::OtherHolders(OtherHolders&&) noexcept = default;
FileLock::OtherHolders& FileLock::OtherHolders::operator=(OtherHolders&&) noexcept = default;
FileLock::OtherHolders::~OtherHolders() = default;

FileLock::OtherHolders::OtherHolders(const State& state)
    : state_(&state), bySlot_(state.slots().heldByOthers()), byKernelLock_(state.othersHoldKernelLock())
{
}

bool FileLock::OtherHolders::haveLeft() const noexcept
{
    return state_ == nullptr ||
           (state_->slots().haveEnded(bySlot_) && !(byKernelLock_ && state_->othersHoldKernelLock()));
}
