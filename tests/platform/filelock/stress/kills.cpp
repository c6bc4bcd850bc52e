// Processes die at random points, as with kill -9. Everything that a reader sees later must be one complete
// generation of the data, or that a writer died in the middle, and the dead leave nothing behind.

#include <functional>
#include <random>
#include <vector>

#include "Document.h"
#include "measures.h"

namespace filelock_stress {

namespace {

struct KillFigures {
    std::atomic<std::int64_t> generations;
    HoldFigures holds;
    ReadFigures reads;
};

[[noreturn]] void writeForever(const Options& options, Document& document, KillFigures& figures)
{
    const ProcessLock lock = ProcessLock::ofWriter(options);
    for (;;) {
        const FileLockGuard guard = lock.exclude();
        writeNextGeneration(document);
        figures.generations.fetch_add(1, std::memory_order_relaxed);
    }
}

void readForever(const Options& options, std::size_t number, const Document& document, KillFigures& figures)
{
    const ProcessLock lock = ProcessLock::ofReader(options, number);
    onThreads(options.threads, [&] {
        for (DocumentReader reader;;) {
            const FileLockGuard guard = lock.share();
            figures.holds.add(lock.isHeldBySlot());
            reader.read(document, figures.reads);
        }
    });
}

/// Processes of one kind that are killed and replaced.
class Victims {
public:
    using Start = std::function<Child(std::size_t)>;

    Victims(int count, Start start) : start_(std::move(start))
    {
        for (std::size_t number = 0; number < static_cast<std::size_t>(count); ++number) {
            processes_.push_back(start_(number));
        }
    }
    void replaceOne(std::mt19937& random)
    {
        const std::size_t number =
            std::uniform_int_distribution<std::size_t>(0, processes_.size() - 1)(random);
        ++(processes_[number].kill() ? killed_ : endedBefore_);
        processes_[number] = start_(number);
    }
    [[nodiscard]] std::int64_t killed() const noexcept { return killed_; }
    /// Those who did not live until they were killed, which they should have.
    [[nodiscard]] std::int64_t endedBefore() const noexcept { return endedBefore_; }

private:
    Start start_;
    std::vector<Child> processes_;
    std::int64_t killed_ = 0;
    std::int64_t endedBefore_ = 0;
};

/// Kills one process after the other, each after a random time.
void killAtRandom(Victims& readers, Victims& writers, const Options& options)
{
    const bool counts = options.killReaders > 0 || options.killWriters > 0;
    std::mt19937 random(options.seed);
    std::uniform_int_distribution<int> pauseUs(0, 2000);
    for (const Clock::time_point end = Clock::now() + options.duration; Clock::now() < end;) {
        const bool enough =
            readers.killed() >= options.killReaders && writers.killed() >= options.killWriters;
        if (counts && enough) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(pauseUs(random)));
        (random() % 2 == 0 ? readers : writers).replaceOne(random);
    }
}

/// Ends when all of them have been killed.
bool killReadersAndWriters(const Options& options, Document& document, KillFigures& figures)
{
    Victims readers(options.processes, [&](std::size_t number) {
        return Child([&, number] { readForever(options, number, document, figures); });
    });
    Victims writers(options.writers, [&](std::size_t /*number*/) {
        return Child([&] { writeForever(options, document, figures); });
    });
    killAtRandom(readers, writers, options);
    printFigure("readers killed", readers.killed());
    printFigure("writers killed", writers.killed());
    printFigure("processes that ended before they were killed",
                readers.endedBefore() + writers.endedBefore());
    return readers.endedBefore() == 0 && writers.endedBefore() == 0 &&
           readers.killed() >= std::max<std::int64_t>(options.killReaders, 1) &&
           writers.killed() >= std::max<std::int64_t>(options.killWriters, 1);
}

} // namespace

bool kills(const Options& options)
{
    const Shared<Document> document;
    const Shared<KillFigures> figures;
    bool well = killReadersAndWriters(options, *document, *figures);
    printFigure("generations written", figures->generations);
    well = figures->generations > 0 && figures->holds.printAndCheck(options) && well;
    well = figures->reads.printAndCheck() && well;
    return nothingIsLeftOver(options) && well;
}

} // namespace filelock_stress
