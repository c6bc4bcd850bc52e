#include "State.h"

#include <cerrno>
#include <utility>

#include "ThreadHolds.h"
#include "WriterAttempt.h"
#include "lock_waits.h"

using Tessara::Keepsafe::Platform::filelock::ForkRegistry;
using Tessara::Keepsafe::Platform::filelock::LockFileError;
using Tessara::Keepsafe::Platform::filelock::mayWait;
using Tessara::Keepsafe::Platform::filelock::sleepOnce;
using Tessara::Keepsafe::Platform::filelock::SystemErrorText;
using Tessara::Keepsafe::Platform::filelock::ThreadHolds;
using Tessara::Keepsafe::Platform::filelock::WriterAttempt;

namespace {

constexpr int MOST_REPLACEMENTS = 16;

} // namespace

/// The first reader's attempt to take the kernel lock; it counts as failed unless marked as succeeded.
class FileLock::State::Taking {
public:
    explicit Taking(ReaderCount& count) noexcept : count_(count) {}
    ~Taking() { succeeded_ ? count_.takingSucceeded() : count_.takingFailed(); }
    Taking(const Taking&) = delete;
    Taking& operator=(const Taking&) = delete;

    void succeeded() noexcept { succeeded_ = true; }

private:
    ReaderCount& count_;
    bool succeeded_ = false;
};

/// The place of this process's one writer; released again unless it is kept.
class FileLock::State::WriterSlot {
public:
    explicit WriterSlot(State& state) noexcept : state_(state) {}
    ~WriterSlot()
    {
        if (occupied_) {
            state_.barrier_.lower();
            state_.writer_.close();
            state_.writerPresent_.store(false, std::memory_order_release);
        }
    }
    WriterSlot(const WriterSlot&) = delete;
    WriterSlot& operator=(const WriterSlot&) = delete;

    bool tryOccupy() noexcept
    {
        occupied_ = !state_.writerPresent_.exchange(true, std::memory_order_acquire);
        return occupied_;
    }
    void keep() noexcept { occupied_ = false; }

private:
    State& state_;
    bool occupied_ = false;
};

std::shared_ptr<FileLock::State> FileLock::State::create(const std::string& name,
                                                         const LockSettings& settings)
{
    auto state = std::make_shared<State>(name, settings);
    ForkRegistry::add(*state);
    return state;
}

FileLock FileLock::State::handle(std::shared_ptr<State> state, MissingFile missing)
{
    return FileLock(std::move(state), missing);
}

FileLock::State::State(const std::string& name, const LockSettings& settings)
    : name_(name), settings_(settings)
{
}

FileLock::State::~State()
{
    // Closed first: a child forked in between closes its copies as long as this object is listed.
    readers_.close();
    writer_.close();
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    slots_.close();
    ForkRegistry::remove(*this);
}

void FileLock::State::forgetInChild() noexcept
{
    readers_.closeUnderForkMutex();
    writer_.closeUnderForkMutex();
    slots_.forgetInChild();
    barrier_.forgetInChild();
    count_.forget();
    writerPresent_.store(false, std::memory_order_relaxed);
}

FileLock::State::Hold FileLock::State::lockShared(MissingFile missing, const Wait& wait, bool nested,
                                                  bool& hasWaited)
{
    const Attempt attempt = tryShared(missing, nested ? Gate::Ignore : Gate::AskSometimes);
    hasWaited = attempt != Attempt::Taken;
    return hasWaited ? waitShared(missing, wait, attempt) : Hold();
}

FileLock::State::Hold FileLock::State::waitShared(MissingFile missing, const Wait& wait, Attempt refused)
{
    const Deadline deadline(wait.timeoutMs);
    Backoff backoff(wait.longestPause);
    const Clock::time_point begin = Clock::now();
    Clock::time_point shutSince = begin;
    while (refused != Attempt::Taken) {
        if (deadline.passed() || !mayWait(name_, begin)) {
            throw FileLockTimeout();
        }
        backoff.pause(deadline);
        if (refused != Attempt::GateShut) {
            shutSince = Clock::now();
        } else if (Clock::now() - shutSince >= settings_.gatePatience) {
            patience_.exhausted();
        }
        const Hold bySlot = slots_.tryEnter();
        if (bySlot.slot != nullptr) {
            return bySlot;
        }
        refused = tryShared(missing, Gate::Ask);
    }
    return {};
}

FileLock::State::Attempt FileLock::State::tryShared(MissingFile missing, Gate gate)
{
    const ReaderCount::Entry entry = count_.enter(gate == Gate::Ignore);
    const bool askGate =
        gate == Gate::Ask || (gate == Gate::AskSometimes && (entry.asksGate || patience_.wasShut()));
    return entry.first ? takeFirst(missing, askGate) : join(askGate);
}

/// Already counted; leaves again if a writer waits or the file is no longer the one at the path.
FileLock::State::Attempt FileLock::State::join(bool askGate)
{
    if (!askGate) {
        return Attempt::Taken;
    }
    const LockFile::Outcome gate = askGateOfReaders();
    if (gate == LockFile::Outcome::Busy) {
        unlockShared();
        return Attempt::GateShut;
    }
    if (gate == LockFile::Outcome::Failed || (pathCheckIsDue() && !readers_.isCurrent(name_))) {
        // The current holders leave soon; then the next one checks, too, and opens the file again.
        pathCheck_.makeDue();
        unlockShared();
        return Attempt::Replaced;
    }
    return Attempt::Taken;
}

FileLock::State::Attempt FileLock::State::takeFirst(MissingFile missing, bool askGate)
{
    Taking taking(count_);
    for (int replaced = 0; replaced < MOST_REPLACEMENTS; ++replaced) {
        if (!readers_.isOpen()) {
            readers_.open(name_, LockFile::Access::Read, missing == MissingFile::IsCreated);
        }
        const Attempt attempt = takeKernelLock(askGate);
        if (attempt != Attempt::Replaced) {
            if (attempt == Attempt::Taken) {
                taking.succeeded();
            }
            return attempt;
        }
        readers_.close();
    }
    throw LockFileError("the file is replaced again and again");
}

FileLock::State::Attempt FileLock::State::takeKernelLock(bool askGate)
{
    const LockFile::Outcome gate = askGate ? askGateOfReaders() : LockFile::Outcome::Done;
    const LockFile::Outcome data = gate == LockFile::Outcome::Done ? readers_.tryShareData() : gate;
    if (data == LockFile::Outcome::Failed) {
        const int error = errno;
        if (readers_.isCurrent(name_)) {
            throw LockFileError(SystemErrorText(error).text());
        }
        return Attempt::Replaced;
    }
    if (data == LockFile::Outcome::Busy) {
        if (pathCheckIsDue() && !readers_.isCurrent(name_)) {
            return Attempt::Replaced;
        }
        return gate == LockFile::Outcome::Busy ? Attempt::GateShut : Attempt::Held;
    }
    if (!readers_.isIntact() || (pathCheckIsDue() && !readers_.isCurrent(name_))) {
        readers_.unlockAll();
        return Attempt::Replaced;
    }
    return Attempt::Taken;
}

FileLock::State::LockFile::Outcome FileLock::State::askGateOfReaders() noexcept
{
    if (!settings_.gate) {
        return LockFile::Outcome::Done;
    }
    const LockFile::Outcome outcome = readers_.askGate();
    if (outcome == LockFile::Outcome::Busy) {
        patience_.gateWasShut();
        return patience_.gateIsIgnored() ? LockFile::Outcome::Done : outcome;
    }
    if (outcome == LockFile::Outcome::Done) {
        patience_.gateWasOpen();
    }
    return outcome;
}

bool FileLock::State::pathCheckIsDue() noexcept { return pathCheck_.isDue(settings_.pathCheckInterval); }

bool FileLock::State::isCurrent(bool bySlot) noexcept
{
    if (bySlot) {
        return slots_.isCurrent();
    }
    if (readers_.isCurrent(name_)) {
        return true;
    }
    pathCheck_.makeDue();
    return false;
}

int FileLock::State::unlockShared() noexcept
{
    if (!count_.leave()) {
        return 0;
    }
    const int error = readers_.unlockAll() == LockFile::Outcome::Done ? 0 : errno;
    count_.released();
    return error;
}

bool FileLock::State::othersHoldKernelLock() const noexcept
{
    const bool latestIsKernelLock =
        !slots_.isHeldByThisThread() && ThreadHolds::ofThisThread().find(this) != ThreadHolds::Kind::None;
    return count_.readers() > (latestIsKernelLock ? 1U : 0U);
}

void FileLock::State::lockExclusive(MissingFile missing, const Wait& wait)
{
    const Deadline deadline(wait.timeoutMs);
    Backoff backoff(wait.longestPause);
    WriterSlot slot(*this);
    while (!slot.tryOccupy()) {
        if (deadline.passed()) {
            throw FileLockTimeout();
        }
        backoff.pause(deadline);
    }
    restAfterLastHold();
    WriterAttempt attempt(writer_, barrier_, name_, missing == MissingFile::IsCreated, settings_);
    if (!attempt.run(deadline, backoff)) {
        throw FileLockTimeout();
    }
    slots_.synchronizeWithWriter();
    slot.keep();
}

void FileLock::State::restAfterLastHold() const noexcept
{
    if (lastExclusiveHold_ != Clock::time_point()) {
        sleepOnce(lastExclusiveHold_ + settings_.writerRest - Clock::now());
    }
}

int FileLock::State::unlockExclusive() noexcept
{
    slots_.synchronizeWithWriter();
    barrier_.lower();
    const int error = writer_.unlockAll() == LockFile::Outcome::Done ? 0 : errno;
    writer_.close();
    lastExclusiveHold_ = Clock::now();
    writerPresent_.store(false, std::memory_order_release);
    return error;
}
