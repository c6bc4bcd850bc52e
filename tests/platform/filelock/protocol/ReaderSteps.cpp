#include "Model.h"

#include <algorithm>

namespace keepsafe_test::protocol {

namespace {

/// One thread of a process, and the state after its step.
class ReaderStep {
public:
    ReaderStep(const Configuration& configuration, const State& state, std::size_t process,
               std::size_t thread, Steps& steps)
        : configuration_(configuration), state_(state), next_(state), index_(process), thread_(thread),
          steps_(steps)
    {
    }

    void take();

private:
    void takeFromOutside();
    void beginToEnter();
    void beginLook();
    void examine();
    void takeLookStep();
    void takeEnterStep();

    // A state is changed and handed on, then this object is at the start again.
    void to(ReaderAt at, const char* what)
    {
        me().at = at;
        if (at == ReaderAt::Outside || at == ReaderAt::InsideBySlot) {
            me().epochIsSame = 0;
            me().sawEven = 0;
            me().sawFresh = 0;
        }
        steps_.step({Actor::Kind::Process, index_}, what, next_);
        next_ = state_;
    }

    void closeDoor();
    void askAnyInside();
    void discard();
    void mapControl();
    void lockFile();
    void markPage();
    void mapFile();
    void giveName();
    void openDoor();
    void toEndOfLook(const char* what);
    void endLook(const char* what);
    void readWrites();
    void askFreshness();
    void readEpoch();
    void decide(const char* what, const Thread& thread);

    [[nodiscard]] bool is(Variant variant) const { return configuration_.variant == variant; }
    [[nodiscard]] bool mutexIsFree() const;
    [[nodiscard]] bool filesAreCurrent() const;
    [[nodiscard]] bool mayRegister() const { return process().filesMade < configuration_.registrations; }

    Process& process() { return next_.processes[index_]; }
    [[nodiscard]] const Process& process() const { return state_.processes[index_]; }
    Thread& me() { return process().threads[thread_]; }
    File& mappedFile() { return next_.files[fileOf(index_, process().file)]; }
    [[nodiscard]] const File& mappedFile() const { return state_.files[fileOf(index_, process().file)]; }
    File& newFile() { return next_.files[fileOf(index_, process().filesMade)]; }

    const Configuration& configuration_;
    const State& state_;
    State next_;
    const std::size_t index_;
    const std::size_t thread_;
    Steps& steps_;
};

bool ReaderStep::mutexIsFree() const
{
    return std::none_of(process().threads.begin(), process().threads.end(), [](const Thread& thread) {
        return thread.at >= ReaderAt::ExaminesFiles && thread.at <= ReaderAt::EndsLook;
    });
}

bool ReaderStep::filesAreCurrent() const
{
    return process().page == state_.control && state_.pages[process().page].isDamaged == 0 &&
           mappedFile().isLinked != 0;
}

void ReaderStep::take()
{
    const ReaderAt at = process().threads[thread_].at;
    if (at == ReaderAt::Outside) {
        takeFromOutside();
    } else if (at >= ReaderAt::ExaminesFiles && at <= ReaderAt::EndsLook) {
        takeLookStep();
    } else {
        takeEnterStep();
    }
}

void ReaderStep::takeFromOutside()
{
    if (!is(Variant::AsksFreshnessBeforeRaising) || process().look.isStale == 0) {
        beginToEnter();
    }
    if (mutexIsFree()) {
        beginLook();
    }
    if (!anyKernelWriter(state_) && !is(Variant::WaitsForEvenCount)) {
        to(ReaderAt::InsideByKernelLock, "takeKernelLock: tryShareData");
    }
}

/// With an odd epoch, or without a mapping, nothing happens: the thread goes by the kernel lock.
void ReaderStep::beginToEnter()
{
    if (process().epochIsEven == 0) {
        return;
    }
    if (is(Variant::TrustsSharedSlot) && mappedFile().raised[thread_] != 0) {
        to(ReaderAt::InsideBySlot, "enter: finds its slot raised");
        return;
    }
    me().epochIsSame = 1;
    to(is(Variant::AsksWritesBeforeRaising) ? ReaderAt::ReadsWrites : ReaderAt::RaisesOwnWord,
       "enter: epoch_.load");
}

/// A look is due at any time. Until it has ended, the one before is stale: that is why this one was begun.
/// Where looks do not grow old, those that change nothing are left out, and examining is no step of its own.
void ReaderStep::beginLook()
{
    if (!looksGrowOld(configuration_)) {
        examine();
        return;
    }
    process().look = {1, 0};
    process().current = {};
    to(ReaderAt::ExaminesFiles, "lookAtFiles: begins");
}

/// One step: what is found of each file was so at the beginning of the look or later.
void ReaderStep::examine()
{
    if (process().epochIsEven == 0) {
        if (mayRegister() && state_.control != NONE) {
            to(ReaderAt::AsksAnyInside, "examineFiles: epoch is odd");
        } else if (looksGrowOld(configuration_)) {
            toEndOfLook("examineFiles: cannot register");
        }
        return;
    }
    const bool current = filesAreCurrent();
    if (!current || (configuration_.lockFileIsReplaced && mayRegister())) {
        to(ReaderAt::ClosesDoor, current ? "filesAreCurrent: another lock file" : "filesAreCurrent: no");
    }
    if (current && looksGrowOld(configuration_)) {
        toEndOfLook("filesAreCurrent: yes");
    }
}

void ReaderStep::toEndOfLook(const char* what)
{
    if (looksGrowOld(configuration_)) {
        return to(ReaderAt::EndsLook, what);
    }
    to(ReaderAt::Outside, what);
}

/// It counts from now on, and is as old as its beginning.
void ReaderStep::endLook(const char* what)
{
    process().look = is(Variant::DatesLookByItsEnd) ? Look{} : process().current;
    process().current = {};
    to(ReaderAt::Outside, what);
}

void ReaderStep::takeLookStep()
{
    switch (process().threads[thread_].at) {
    case ReaderAt::ExaminesFiles:
        return examine();
    case ReaderAt::ClosesDoor:
        return closeDoor();
    case ReaderAt::AsksAnyInside:
        return askAnyInside();
    case ReaderAt::Discards:
        return discard();
    case ReaderAt::MapsControl:
        return mapControl();
    case ReaderAt::LocksFile:
        return lockFile();
    case ReaderAt::MarksPage:
        return markPage();
    case ReaderAt::MapsFile:
        return mapFile();
    case ReaderAt::GivesName:
        return giveName();
    case ReaderAt::OpensDoor:
        return openDoor();
    default:
        return endLook("lookAtFiles: look_.renew");
    }
}

void ReaderStep::closeDoor()
{
    process().epochIsEven = 0;
    for (Thread& thread : process().threads) {
        thread.epochIsSame = 0;
    }
    to(ReaderAt::AsksAnyInside, "examineFiles: epoch_.fetch_or");
}

void ReaderStep::askAnyInside()
{
    const bool any = std::any_of(process().threads.begin(), process().threads.end(),
                                 [](const Thread& thread) { return thread.ownRaised != 0; });
    if (any && !is(Variant::RenewsWhileInside)) {
        return toEndOfLook("anyInside: yes");
    }
    if (!mayRegister() || state_.control == NONE) {
        return toEndOfLook("renew: cannot register");
    }
    to(process().filesMade == 0 ? ReaderAt::MapsControl : ReaderAt::Discards, "anyInside: no");
}

void ReaderStep::discard()
{
    mappedFile().isLinked = 0;
    to(ReaderAt::MapsControl, "discardFile: unlink");
}

void ReaderStep::mapControl()
{
    if (state_.control == NONE) {
        return toEndOfLook("mapControl: no page");
    }
    process().page = state_.control;
    process().mark = 0;
    to(is(Variant::LinksBeforeLocking) ? ReaderAt::GivesName : ReaderAt::LocksFile, "mapControl: mapOver");
}

void ReaderStep::lockFile()
{
    newFile().isLocked = 1;
    to(configuration_.fileIsRemoved ? ReaderAt::MarksPage : ReaderAt::MapsFile, "mapNewFile: lockForLife");
}

void ReaderStep::markPage()
{
    process().mark = static_cast<std::uint8_t>(process().filesMade + 1);
    to(ReaderAt::MapsFile, "mapNewFile: markReader");
}

/// The mapping before goes, and with it the kernel lock of its open file.
void ReaderStep::mapFile()
{
    if (process().filesMade > 0) {
        mappedFile().isLocked = 0;
    }
    process().file = process().filesMade;
    to(is(Variant::LinksBeforeLocking) ? ReaderAt::OpensDoor : ReaderAt::GivesName, "mapNewFile: mapOver");
}

void ReaderStep::giveName()
{
    newFile().isLinked = 1;
    to(is(Variant::LinksBeforeLocking) ? ReaderAt::LocksFile : ReaderAt::OpensDoor, "giveName: linkat");
}

void ReaderStep::openDoor()
{
    process().epochIsEven = 1;
    ++process().filesMade;
    toEndOfLook("renew: epoch_.fetch_add");
}

void ReaderStep::takeEnterStep()
{
    const bool asksFirst = is(Variant::AsksWritesBeforeRaising);
    switch (process().threads[thread_].at) {
    case ReaderAt::RaisesOwnWord:
        me().ownRaised = 1;
        return to(ReaderAt::RaisesSlot, "raise: own word store");
    case ReaderAt::RaisesSlot:
        mappedFile().raised[thread_] = 1;
        return to(asksFirst ? ReaderAt::ReadsEpoch : ReaderAt::ReadsWrites, "raise: shared word exchange");
    case ReaderAt::ReadsWrites:
        return readWrites();
    case ReaderAt::AsksFreshness:
        return askFreshness();
    case ReaderAt::ReadsEpoch:
        return readEpoch();
    case ReaderAt::InsideBySlot:
        return to(ReaderAt::LowersSlot, "leave");
    case ReaderAt::LowersSlot:
        mappedFile().raised[thread_] = 0;
        return to(ReaderAt::LowersOwnWord, "lower: shared word store");
    case ReaderAt::LowersOwnWord:
        me().ownRaised = 0;
        return to(ReaderAt::Outside, "lower: own word store");
    default: // InsideByKernelLock
        return to(ReaderAt::Outside, "unlockShared: unlockAll");
    }
}

void ReaderStep::readWrites()
{
    me().sawEven = state_.pages[process().page].isOdd == 0 ? 1 : 0;
    if (is(Variant::AsksWritesBeforeRaising)) {
        return to(ReaderAt::RaisesOwnWord, "enter: writes.load");
    }
    const bool asksNow = looksGrowOld(configuration_) && !is(Variant::AsksFreshnessBeforeRaising) &&
                         !is(Variant::AsksEpochBeforeFreshness);
    to(asksNow ? ReaderAt::AsksFreshness : ReaderAt::ReadsEpoch, "enter: writes.load");
}

/// A reader that finds a check fresh that has closed the door finds the epoch odd afterwards.
void ReaderStep::askFreshness()
{
    const bool fresh = process().look.isStale == 0;
    me().sawFresh = fresh ? 1 : 0;
    if (is(Variant::AsksEpochBeforeFreshness)) {
        return decide("tryEnter: isStale", next_.processes[index_].threads[thread_]);
    }
    to(ReaderAt::ReadsEpoch, fresh ? "enter: isStale: no" : "enter: isStale: yes");
}

void ReaderStep::readEpoch()
{
    Thread& thread = me();
    thread.epochIsSame = thread.epochIsSame != 0 || is(Variant::KeepsFirstEpoch) ? 1 : 0;
    if (is(Variant::AsksEpochBeforeFreshness) && thread.epochIsSame != 0 && thread.sawEven != 0) {
        // Its answer is kept: the epoch may change before the thread goes on.
        thread.sawFresh = 0;
        thread.epochIsSame = 0;
        return to(ReaderAt::AsksFreshness, "enter: the epoch is the same");
    }
    if (!looksGrowOld(configuration_) || is(Variant::AsksFreshnessBeforeRaising)) {
        thread.sawFresh = 1;
    }
    decide("enter: epoch_.load", thread);
}

void ReaderStep::decide(const char* what, const Thread& thread)
{
    const bool sameEpoch = thread.epochIsSame != 0 || is(Variant::AsksEpochBeforeFreshness);
    const bool enters = thread.sawEven != 0 && thread.sawFresh != 0 && sameEpoch;
    me().epochIsSame = 0;
    me().sawEven = 0;
    me().sawFresh = 0;
    to(enters ? ReaderAt::InsideBySlot : ReaderAt::LowersSlot, enters ? what : "enter: refused");
}

} // namespace

void takeReaderSteps(const Configuration& configuration, const State& state, std::size_t process,
                     Steps& steps)
{
    if (state.processes[process].isAlive != 0) {
        for (std::size_t i = 0; i < threadsOf(configuration, process); ++i) {
            ReaderStep(configuration, state, process, i, steps).take();
        }
    }
}

} // namespace keepsafe_test::protocol
