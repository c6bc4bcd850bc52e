#include "State.h"

#include <cerrno>
#include <ctime>
#include <utility>

#include <sched.h>

#include "WriterAttempt.h"

using Tessara::Keepsafe::Platform::filelock::ForkRegistry;
using Tessara::Keepsafe::Platform::filelock::LockFileError;
using Tessara::Keepsafe::Platform::filelock::sleepOnce;
using Tessara::Keepsafe::Platform::filelock::SystemErrorText;
using Tessara::Keepsafe::Platform::filelock::WriterAttempt;

namespace {

/// The parts of the word: readers, the transition mark, and the number of acquisitions that were not nested.
constexpr std::uint64_t READERS = 0x7FFFFFFF;
constexpr std::uint64_t TRANSITION = 0x80000000;
constexpr std::uint64_t ACQUISITION = 0x100000000;

/// Every 8th acquisition asks about the gate.
bool asksGateByItself(std::uint64_t word) noexcept { return (word / ACQUISITION) % 8 == 0; }

constexpr int MOST_REPLACEMENTS = 16;

/// Waits a little for a thread that is taking or releasing the kernel lock: some system calls, unless it is
/// not running at the moment.
void waitForTransition(int round) noexcept
{
    constexpr int SPINS = 100;
    constexpr int YIELDS = 20;
    if (round >= SPINS + YIELDS) {
        sleepOnce(std::chrono::microseconds(20));
    } else if (round >= SPINS) {
        sched_yield();
    }
}

/// A clock that costs a few nanoseconds and is a few milliseconds behind.
std::int64_t coarseMilliseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

} // namespace

/// Ends a transition with no reader, or with the one that has taken the kernel lock.
class FileLock::State::Transition {
public:
    Transition(State& state, std::uint64_t word) noexcept
        : state_(state), word_(word & ~(READERS | TRANSITION))
    {
    }
    ~Transition() { state_.word_.store(word_, std::memory_order_release); }
    Transition(const Transition&) = delete;
    Transition& operator=(const Transition&) = delete;

    void taken() noexcept { word_ |= 1; }

private:
    State& state_;
    std::uint64_t word_;
};

/// The place of this process's one writer; given up again unless it is kept.
class FileLock::State::WriterSlot {
public:
    explicit WriterSlot(State& state) noexcept : state_(state) {}
    ~WriterSlot()
    {
        if (occupied_) {
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
    // Closed first: a child that is forked in between closes its copies as long as this object is listed.
    readers_.close();
    writer_.close();
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    ForkRegistry::remove(*this);
}

void FileLock::State::forgetInChild() noexcept
{
    readers_.closeUnderForkMutex();
    writer_.closeUnderForkMutex();
    word_.store(0, std::memory_order_relaxed);
    writerPresent_.store(false, std::memory_order_relaxed);
}

void FileLock::State::lockShared(MissingFile missing, const Wait& wait, bool nested)
{
    const Attempt attempt = tryShared(missing, nested ? Gate::Ignore : Gate::AskSometimes);
    if (attempt != Attempt::Taken) {
        waitShared(missing, wait, attempt);
    }
}

void FileLock::State::waitShared(MissingFile missing, const Wait& wait, Attempt refused)
{
    const Deadline deadline(wait.timeoutMs);
    Backoff backoff(wait.longestPause);
    Clock::time_point shutSince = Clock::now();
    while (refused != Attempt::Taken) {
        if (deadline.passed()) {
            throw FileLockTimeout();
        }
        backoff.pause(deadline);
        if (refused != Attempt::GateShut) {
            shutSince = Clock::now();
        } else if (Clock::now() - shutSince >= settings_.gatePatience) {
            patience_.exhausted();
        }
        refused = tryShared(missing, Gate::Ask);
    }
}

FileLock::State::Attempt FileLock::State::tryShared(MissingFile missing, Gate gate)
{
    int waited = 0;
    std::uint64_t word = word_.load(std::memory_order_acquire);
    for (;;) {
        if ((word & TRANSITION) != 0) {
            waitForTransition(waited++);
            word = word_.load(std::memory_order_acquire);
            continue;
        }
        const bool first = (word & READERS) == 0;
        const std::uint64_t next = word + (first ? TRANSITION : 1) + (gate == Gate::Ignore ? 0 : ACQUISITION);
        if (!word_.compare_exchange_weak(word, next, std::memory_order_acquire)) {
            continue;
        }
        const bool askGate = gate == Gate::Ask || (gate == Gate::AskSometimes && asksGateByItself(word));
        return first ? takeFirst(missing, askGate, next) : join(askGate);
    }
}

/// Counted already; leaves again when a writer waits or the file is no longer the one at the path.
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
    // Those who hold it now leave soon; then the next one opens the file anew.
    if (gate == LockFile::Outcome::Failed || (pathCheckIsDue() && !readers_.isCurrent(name_))) {
        unlockShared();
        return Attempt::Replaced;
    }
    return Attempt::Taken;
}

FileLock::State::Attempt FileLock::State::takeFirst(MissingFile missing, bool askGate, std::uint64_t word)
{
    Transition transition(*this, word);
    for (int replaced = 0; replaced < MOST_REPLACEMENTS; ++replaced) {
        if (!readers_.isOpen()) {
            readers_.open(name_, LockFile::Access::Read, missing == MissingFile::IsCreated);
        }
        const Attempt attempt = takeKernelLock(askGate);
        if (attempt != Attempt::Replaced) {
            if (attempt == Attempt::Taken) {
                transition.taken();
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
    if (outcome == LockFile::Outcome::Busy && patience_.gateIsIgnored()) {
        return LockFile::Outcome::Done;
    }
    if (outcome == LockFile::Outcome::Done) {
        patience_.gateWasOpen();
    }
    return outcome;
}

bool FileLock::State::pathCheckIsDue() noexcept
{
    const std::int64_t now = coarseMilliseconds();
    if (now < nextPathCheckMs_.load(std::memory_order_relaxed)) {
        return false;
    }
    nextPathCheckMs_.store(now + settings_.pathCheckInterval.count(), std::memory_order_relaxed);
    return true;
}

int FileLock::State::unlockShared() noexcept
{
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    bool last = false;
    do {
        last = (word & READERS) == 1;
    } while (!word_.compare_exchange_weak(word, word - 1 + (last ? TRANSITION : 0), std::memory_order_acq_rel,
                                          std::memory_order_relaxed));
    if (!last) {
        return 0;
    }
    const Transition transition(*this, word);
    return readers_.unlockAll() == LockFile::Outcome::Done ? 0 : errno;
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
    WriterAttempt attempt(writer_, name_, missing == MissingFile::IsCreated, settings_);
    if (!attempt.run(deadline, backoff)) {
        throw FileLockTimeout();
    }
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
    const int error = writer_.unlockAll() == LockFile::Outcome::Done ? 0 : errno;
    writer_.close();
    lastExclusiveHold_ = Clock::now();
    writerPresent_.store(false, std::memory_order_release);
    return error;
}
