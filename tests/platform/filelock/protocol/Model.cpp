#include "Model.h"

#include <algorithm>

namespace keepsafe_test::protocol {

namespace {

Process registered() { return {1, 1, {}, {}, 0, 1, 0, 1, {}}; }
Process newcomer() { return {1, 0, {}, {}, NONE, 0, NONE, 0, {}}; }

Writer writerOutside() { return {WriterAt::Outside, 0, 0, 0, 0, NONE, 0, NONE, 0}; }

/// A process dies with all its threads: the system takes its kernel locks and what has no name, and its slots
/// stay as they are.
void killProcess(State& state, std::size_t process)
{
    for (std::size_t i = 0; i < FILES_PER_PROCESS; ++i) {
        File& file = state.files[fileOf(process, i)];
        file.isLocked = 0;
        if (file.isLinked == 0) {
            file = {};
        }
    }
    state.processes[process] = {};
}

void killWriter(State& state, std::size_t writer)
{
    for (Page& page : state.pages) {
        if (page.owner == writer) {
            page.owner = NONE;
        }
    }
    state.writers[writer] = writerOutside();
    state.writers[writer].at = WriterAt::Dead;
}

void takeDeaths(const Configuration& configuration, const State& state, Steps& steps)
{
    for (std::size_t i = 0; i < configuration.processes; ++i) {
        if (state.processes[i].isAlive != 0) {
            State next = state;
            killProcess(next, i);
            steps.step({Actor::Kind::Process, i}, "is killed", next);
        }
    }
    for (std::size_t i = 0; i < configuration.writers; ++i) {
        if (state.writers[i].at != WriterAt::Dead) {
            State next = state;
            killWriter(next, i);
            steps.step({Actor::Kind::Writer, i}, "is killed", next);
        }
    }
    if (configuration.readerWithoutSlots && state.kernelReaderIsDead == 0) {
        State next = state;
        next.kernelReaderIsDead = 1;
        next.kernelReaderIsInside = 0;
        steps.step({Actor::Kind::KernelReader}, "is killed", next);
    }
}

void takeLosses(const Configuration& configuration, const State& state, Steps& steps)
{
    for (std::size_t i = 0; i < configuration.writers; ++i) {
        if (state.lockMayBeLost != 0 && state.writers[i].at != WriterAt::Dead) {
            State next = state;
            next.lockMayBeLost = 0;
            next.writers[i].hasKernelLock = 0;
            next.writers[i].lockIsLost = 1;
            steps.step({Actor::Kind::World},
                       i == 0 ? "takes writer 0's lock file away" : "takes writer 1's lock file away", next);
        }
    }
}

void takeDamageToPage(const State& state, Steps& steps)
{
    if (state.pageMayBeRemoved != 0) {
        State next = state;
        next.pageMayBeRemoved = 0;
        next.control = NONE;
        steps.step({Actor::Kind::World}, "removes the control page", next);
    }
    if (state.pageMayBeDamaged != 0 && state.control == 0) {
        State next = state;
        next.pageMayBeDamaged = 0;
        next.pages[0].isDamaged = 1;
        steps.step({Actor::Kind::World}, "damages the control page", next);
    }
}

void takeRemovalOfFile(const Configuration& configuration, const State& state, Steps& steps)
{
    for (std::size_t i = 0; i < configuration.processes * FILES_PER_PROCESS; ++i) {
        if (state.fileMayBeRemoved != 0 && state.files[i].isLinked != 0) {
            State next = state;
            next.fileMayBeRemoved = 0;
            next.files[i].isLinked = 0;
            if (next.files[i].isLocked == 0) {
                next.files[i] = {};
            }
            steps.step({Actor::Kind::World}, "removes a slot file", next);
        }
    }
}

void takeForeignRaising(const Configuration& configuration, const State& state, Steps& steps)
{
    for (std::size_t i = 0; i < configuration.processes * FILES_PER_PROCESS; ++i) {
        if (configuration.slotsAreWritten && state.files[i].isLinked != 0 && state.files[i].raised[0] == 0) {
            State next = state;
            next.files[i].raised[0] = 1;
            steps.step({Actor::Kind::World}, "raises a slot that is not its own", next);
        }
    }
}

} // namespace

std::string toText(const Actor& actor)
{
    switch (actor.kind) {
    case Actor::Kind::Process:
        return "reader " + std::to_string(actor.index);
    case Actor::Kind::KernelReader:
        return "reader without slots";
    case Actor::Kind::Writer:
        return "writer " + std::to_string(actor.index);
    case Actor::Kind::World:
        break;
    }
    return "somebody else";
}

State initialState(const Configuration& configuration)
{
    State state{};
    for (std::size_t i = 0; i < configuration.processes; ++i) {
        const bool isNew = i + configuration.newcomers >= configuration.processes;
        state.processes[i] = isNew ? newcomer() : registered();
        if (!isNew) {
            state.processes[i].mark = configuration.fileIsRemoved ? 1 : 0;
            state.files[fileOf(i, 0)] = {1, 1, {}};
        }
    }
    for (Writer& writer : state.writers) {
        writer = writerOutside();
    }
    for (Page& page : state.pages) {
        page = {0, NONE, 0};
    }
    state.pagesMade = 1;
    state.lockMayBeLost = configuration.lockIsLost ? 1 : 0;
    state.pageMayBeRemoved = configuration.pageIsRemoved ? 1 : 0;
    state.pageMayBeDamaged = configuration.pageIsDamaged ? 1 : 0;
    state.fileMayBeRemoved = configuration.fileIsRemoved ? 1 : 0;
    return state;
}

void takeSteps(const Configuration& configuration, const State& state, Steps& steps)
{
    for (std::size_t i = 0; i < configuration.processes; ++i) {
        takeReaderSteps(configuration, state, i, steps);
    }
    for (std::size_t i = 0; i < configuration.writers; ++i) {
        takeWriterSteps(configuration, state, i, steps);
    }
    if (configuration.readerWithoutSlots) {
        takeKernelReaderSteps(state, steps);
    }
    takeWorldSteps(configuration, state, steps);
}

void takeKernelReaderSteps(const State& state, Steps& steps)
{
    const Actor who{Actor::Kind::KernelReader};
    if (state.kernelReaderIsDead != 0) {
        return;
    }
    State next = state;
    if (state.kernelReaderIsInside != 0) {
        next.kernelReaderIsInside = 0;
        steps.step(who, "unlockShared: unlockAll", next);
    } else if (!anyKernelWriter(state)) {
        next.kernelReaderIsInside = 1;
        steps.step(who, "takeKernelLock: tryShareData", next);
    }
}

void takeWorldSteps(const Configuration& configuration, const State& state, Steps& steps)
{
    if (configuration.deaths) {
        takeDeaths(configuration, state, steps);
    }
    takeLosses(configuration, state, steps);
    takeDamageToPage(state, steps);
    takeRemovalOfFile(configuration, state, steps);
    takeForeignRaising(configuration, state, steps);
}

std::size_t threadsOf(const Configuration& configuration, std::size_t process)
{
    return process == 0 ? configuration.threads : 1;
}

bool isInside(const Thread& thread)
{
    return thread.at == ReaderAt::InsideBySlot || thread.at == ReaderAt::InsideByKernelLock;
}

bool looksGrowOld(const Configuration& configuration)
{
    return configuration.pageIsRemoved || configuration.pageIsDamaged;
}

bool anyKernelReader(const State& state)
{
    const auto holds = [](const Thread& thread) { return thread.at == ReaderAt::InsideByKernelLock; };
    return state.kernelReaderIsInside != 0 ||
           std::any_of(state.processes.begin(), state.processes.end(), [&](const Process& process) {
               return std::any_of(process.threads.begin(), process.threads.end(), holds);
           });
}

bool anyKernelWriter(const State& state)
{
    return std::any_of(state.writers.begin(), state.writers.end(),
                       [](const Writer& writer) { return writer.hasKernelLock != 0; });
}

} // namespace keepsafe_test::protocol
