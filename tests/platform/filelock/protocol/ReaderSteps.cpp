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
    void look();
    void takeLookStep();
    void takeEnterStep();

    // A state is changed and handed on, then this object is at the start again.
    void to(ReaderAt at, const char* what)
    {
        me().at = at;
        if (at == ReaderAt::Outside || at == ReaderAt::InsideBySlot) {
            me().epochIsSame = 0;
            me().sawEven = 0;
        }
        steps_.step({Actor::Kind::Process, index_}, what, next_);
        next_ = state_;
    }

    void closeDoor();
    void askAnyInside();
    void discard();
    void mapControl();
    void lockFile();
    void mapFile();
    void giveName();
    void openDoor();
    void endLook(const char* what);
    void readWrites();
    void readEpoch();

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
        return thread.at >= ReaderAt::ClosesDoor && thread.at <= ReaderAt::OpensDoor;
    });
}

bool ReaderStep::filesAreCurrent() const
{
    return process().page == state_.control && mappedFile().isLinked != 0;
}

void ReaderStep::take()
{
    const ReaderAt at = process().threads[thread_].at;
    if (at == ReaderAt::Outside) {
        takeFromOutside();
    } else if (at >= ReaderAt::ClosesDoor && at <= ReaderAt::OpensDoor) {
        takeLookStep();
    } else {
        takeEnterStep();
    }
}

void ReaderStep::takeFromOutside()
{
    if (process().lookIsDue == 0) {
        beginToEnter();
    }
    if (mutexIsFree()) {
        look();
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

void ReaderStep::look()
{
    if (process().epochIsEven == 0) {
        if (mayRegister() && state_.control != NONE) {
            to(ReaderAt::AsksAnyInside, "lookAtFiles: epoch is odd");
        } else if (process().lookIsDue != 0) {
            endLook("lookAtFiles: cannot register");
        }
        return;
    }
    const bool current = filesAreCurrent();
    if (!current || (configuration_.lockFileIsReplaced && mayRegister())) {
        to(ReaderAt::ClosesDoor, current ? "filesAreCurrent: another lock file" : "filesAreCurrent: no");
    }
    if (current && process().lookIsDue != 0) {
        endLook("filesAreCurrent: yes");
    }
}

void ReaderStep::endLook(const char* what)
{
    process().lookIsDue = 0;
    to(ReaderAt::Outside, what);
}

void ReaderStep::takeLookStep()
{
    switch (process().threads[thread_].at) {
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
    case ReaderAt::MapsFile:
        return mapFile();
    case ReaderAt::GivesName:
        return giveName();
    default:
        return openDoor();
    }
}

void ReaderStep::closeDoor()
{
    process().epochIsEven = 0;
    for (Thread& thread : process().threads) {
        thread.epochIsSame = 0;
    }
    to(ReaderAt::AsksAnyInside, "lookAtFiles: epoch_.fetch_or");
}

void ReaderStep::askAnyInside()
{
    const bool any = std::any_of(process().threads.begin(), process().threads.end(),
                                 [](const Thread& thread) { return thread.ownRaised != 0; });
    if (any && !is(Variant::RenewsWhileInside)) {
        return endLook("anyInside: yes");
    }
    if (!mayRegister() || state_.control == NONE) {
        return endLook("renew: cannot register");
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
        return endLook("mapControl: no page");
    }
    process().page = state_.control;
    to(is(Variant::LinksBeforeLocking) ? ReaderAt::GivesName : ReaderAt::LocksFile, "mapControl: mapOver");
}

void ReaderStep::lockFile()
{
    newFile().isLocked = 1;
    to(ReaderAt::MapsFile, "mapNewFile: lockForLife");
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
    endLook("renew: epoch_.fetch_add");
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
    to(is(Variant::AsksWritesBeforeRaising) ? ReaderAt::RaisesOwnWord : ReaderAt::ReadsEpoch,
       "enter: writes.load");
}

void ReaderStep::readEpoch()
{
    const Thread& thread = process().threads[thread_];
    const bool same = thread.epochIsSame != 0 || is(Variant::KeepsFirstEpoch);
    const bool enters = thread.sawEven != 0 && same;
    me().epochIsSame = 0;
    me().sawEven = 0;
    to(enters ? ReaderAt::InsideBySlot : ReaderAt::LowersSlot, enters ? "enter: has it" : "enter: refused");
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
