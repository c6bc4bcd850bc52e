#include "Rules.h"

#include <algorithm>

namespace keepsafe_test::protocol {

namespace {

bool isResting(const Process& process)
{
    return std::all_of(process.threads.begin(), process.threads.end(),
                       [](const Thread& thread) { return thread.at == ReaderAt::Outside; });
}

bool allReadersRest(const State& state)
{
    return state.kernelReaderIsInside == 0 &&
           std::all_of(state.processes.begin(), state.processes.end(), isResting);
}

bool anyReader(const State& state) { return anySlotReader(state) || anyKernelReader(state); }

bool filesOfDeadAreLeft(const Configuration& configuration, const State& state)
{
    for (std::size_t i = 0; i < configuration.processes * FILES_PER_PROCESS; ++i) {
        if (state.processes[i / FILES_PER_PROCESS].isAlive == 0 && state.files[i].isLinked != 0) {
            return true;
        }
    }
    return false;
}

/// Adds what one actor can do to a set.
class Collector : public Steps {
public:
    explicit Collector(StateSet& states) : states_(states) {}
    void step(const Actor& /*who*/, const char* /*what*/, const State& next) override { states_.add(next); }

private:
    StateSet& states_;
};

} // namespace

bool isWriting(const Writer& writer)
{
    return writer.at == WriterAt::BeginsChange || writer.at == WriterAt::EndsChange;
}

bool anySlotReader(const State& state)
{
    const auto reads = [](const Thread& thread) { return thread.at == ReaderAt::InsideBySlot; };
    return std::any_of(state.processes.begin(), state.processes.end(), [&](const Process& process) {
        return std::any_of(process.threads.begin(), process.threads.end(), reads);
    });
}

const char* brokenSafety(const Configuration& configuration, const State& state)
{
    const bool needsNoLock = configuration.variant == Variant::TakesNoKernelLock;
    const bool writing = std::any_of(
        state.writers.begin(), state.writers.begin() + static_cast<std::ptrdiff_t>(configuration.writers),
        [&](const Writer& writer) {
            return isWriting(writer) && (needsNoLock || writer.hasKernelLock != 0);
        });
    if (writing && anyReader(state)) {
        return "somebody reads while a writer is inside";
    }
    for (std::size_t i = 0; i < configuration.processes && !configuration.fileIsRemoved; ++i) {
        const Process& process = state.processes[i];
        if (process.isAlive != 0 && process.epochIsEven != 0 &&
            state.files[fileOf(i, process.file)].isLinked == 0) {
            return "the file of a living process has been removed";
        }
    }
    return nullptr;
}

const char* Progress::broken(const State& state)
{
    const auto isDead = [](const Writer& writer) { return writer.at == WriterAt::Dead; };
    const auto end = state.writers.begin() + static_cast<std::ptrdiff_t>(configuration_.writers);
    if (std::all_of(state.writers.begin(), end, isDead)) {
        return brokenForReaders(state);
    }
    return allReadersRest(state) ? brokenForWriters(state) : nullptr;
}

const char* Progress::brokenForReaders(const State& state)
{
    for (std::size_t i = 0; i < configuration_.processes; ++i) {
        for (std::size_t j = 0; state.processes[i].isAlive != 0 && j < threadsOf(configuration_, i); ++j) {
            const auto isIn = [&](const State& reached) { return isInside(reached.processes[i].threads[j]); };
            if (!reaches(state, {Actor::Kind::Process, i}, isIn)) {
                return "a reader cannot get in although no writer lives";
            }
        }
    }
    return nullptr;
}

const char* Progress::brokenForWriters(const State& state)
{
    for (std::size_t i = 0; i < configuration_.writers && !anyKernelWriter(state); ++i) {
        const Actor who{Actor::Kind::Writer, i};
        const auto isIn = [&](const State& reached) {
            return reached.writers[i].at == WriterAt::BeginsChange;
        };
        const auto isInBesideFilesOfDead = [&](const State& reached) {
            return isIn(reached) && filesOfDeadAreLeft(configuration_, reached);
        };
        const bool isOutside = state.writers[i].at == WriterAt::Outside;
        if (!isOutside && state.writers[i].at != WriterAt::WaitsOutside) {
            continue;
        }
        if (!reaches(state, who, isIn)) {
            return "a writer cannot get in although nobody holds the lock";
        }
        // One that waits has listed the files already; those that came later it has not seen.
        if (isOutside && filesOfDeadAreLeft(configuration_, state) &&
            reaches(state, who, isInBesideFilesOfDead)) {
            return "a writer has left files of the dead";
        }
    }
    return nullptr;
}

template <typename IsGoal>
bool Progress::reaches(const State& from, const Actor& who, IsGoal isGoal)
{
    seen_.clear();
    seen_.add(from);
    Collector collector(seen_);
    for (std::size_t i = 0; i < seen_.size(); ++i) {
        const State state = seen_[i];
        if (isGoal(state)) {
            return true;
        }
        if (who.kind == Actor::Kind::Process) {
            takeReaderSteps(configuration_, state, who.index, collector);
        } else {
            takeWriterSteps(configuration_, state, who.index, collector);
        }
    }
    return false;
}

} // namespace keepsafe_test::protocol
