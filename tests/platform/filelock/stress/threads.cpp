// More threads than a process has slots: those without one take the kernel lock beside the others.

#include <algorithm>

#include "Document.h"
#include "measures.h"
#include "slot_files.h"

namespace filelock_stress {

namespace {

using Tessara::Keepsafe::Platform::filelock::SlotFile;

constexpr int MORE_THAN_SLOTS = 600;

struct ThreadFigures {
    std::atomic<bool> stop;
    std::atomic<int> started;
    std::atomic<int> finished;
    std::atomic<std::int64_t> withSlot;
    std::atomic<std::int64_t> withoutSlot;
    std::atomic<std::int64_t> starved; ///< threads that never had the lock
    HoldFigures holds;
    ReadFigures reads;
};

/// With pauses, because there are more threads than processors: a thread that is not running while it holds
/// the lock would be all that there is to see.
void readWithPauses(const ProcessLock& lock, const Document& document, ThreadFigures& figures)
{
    ++figures.started;
    DocumentReader reader;
    std::int64_t bySlot = 0;
    std::int64_t byKernelLock = 0;
    while (!figures.stop) {
        {
            const FileLockGuard guard = lock.share();
            ++(lock.isHeldBySlot() ? bySlot : byKernelLock);
            reader.read(document, figures.reads);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    figures.holds.add(true, bySlot);
    figures.holds.add(false, byKernelLock);
    ++(bySlot > 0 ? figures.withSlot : figures.withoutSlot);
    figures.starved += bySlot + byKernelLock == 0 ? 1 : 0;
    // A thread that ends leaves its slot to another one.
    for (++figures.finished; figures.finished < figures.started;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::int64_t writeForAWhile(const Options& options, Document& document)
{
    const ProcessLock lock = ProcessLock::ofWriter(options);
    std::int64_t generations = 0;
    for (const Clock::time_point end = Clock::now() + options.duration; Clock::now() < end; ++generations) {
        {
            const FileLockGuard guard = lock.exclude();
            writeNextGeneration(document);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return generations;
}

bool slotsAreUsedAsFarAsTheyGo(const ThreadFigures& figures, const Options& options)
{
    printFigure("threads with a slot", figures.withSlot);
    printFigure("threads without", figures.withoutSlot);
    constexpr auto SLOTS = static_cast<std::int64_t>(SlotFile::SLOTS);
    return figures.withSlot == (options.slots == Slots::Off ? 0 : SLOTS) && figures.withoutSlot > 0;
}

} // namespace

/// One process of readers, so that mixed is the same as on.
bool threads(const Options& options)
{
    const Shared<Document> document;
    const Shared<ThreadFigures> figures;
    const int count = std::max(options.threads, MORE_THAN_SLOTS);
    Child readers([&] {
        const ProcessLock lock = ProcessLock::ofReader(options, 0);
        onThreads(count, [&] { readWithPauses(lock, *document, *figures); });
    });
    while (figures->started < count) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const std::int64_t generations = writeForAWhile(options, *document);
    figures->stop = true;
    bool well = readers.endsWell();
    well = slotsAreUsedAsFarAsTheyGo(*figures, options) && well;
    printFigure("threads that never had the lock", figures->starved);
    printFigure("generations written", generations);
    well = figures->holds.printAndCheck(options) && figures->starved == 0 && generations > 0 && well;
    return figures->reads.printAndCheck() && figures->reads.interrupted == 0 && well;
}

} // namespace filelock_stress
