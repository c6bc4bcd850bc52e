// Many processes that live for a few reads only, while a writer is at work. Some clean up after themselves,
// some end without: neither may leave anything behind.

#include <deque>

#include <unistd.h>

#include "Document.h"
#include "measures.h"

namespace filelock_stress {

namespace {

struct CrowdFigures {
    std::atomic<bool> stop;
    std::atomic<std::int64_t> longestWaitNs;
    std::atomic<std::int64_t> generations;
    HoldFigures holds;
    ReadFigures reads;
};

void publishAndMeasure(const Options& options, Document& document, CrowdFigures& figures)
{
    const ProcessLock lock = ProcessLock::ofWriter(options);
    Waits waits;
    while (!figures.stop) {
        const Clock::time_point start = Clock::now();
        const FileLockGuard guard = lock.exclude();
        waits.add(Clock::now() - start);
        writeNextGeneration(document);
        ++figures.generations;
    }
    printFigure("writer wait, median", waits.quantile(0.5));
    printFigure("writer wait, longest", waits.quantile(1));
}

void readAFewTimes(const Options& options, std::size_t number, const Document& document,
                   CrowdFigures& figures)
{
    const ProcessLock lock = ProcessLock::ofReader(options, number);
    onThreads(options.threads, [&] {
        DocumentReader reader;
        for (std::size_t reads = number % 20 + 1; reads > 0; --reads) {
            const FileLockGuard guard = lock.share();
            figures.holds.add(lock.isHeldBySlot());
            reader.read(document, figures.reads);
        }
    });
    if (number % 3 == 0) {
        _exit(0); // without a chance for the lock to remove its file
    }
}

} // namespace

bool crowd(const Options& options)
{
    const Shared<Document> document;
    const Shared<CrowdFigures> figures;
    Child writer([&] { publishAndMeasure(options, *document, *figures); });
    bool well = true;
    std::size_t started = 0;
    std::deque<Child> readers;
    for (const Clock::time_point end = Clock::now() + options.duration; Clock::now() < end; ++started) {
        readers.emplace_back([&, started] { readAFewTimes(options, started, *document, *figures); });
        if (readers.size() > static_cast<std::size_t>(options.processes)) {
            well = readers.front().endsWell() && well;
            readers.pop_front();
        }
    }
    for (Child& reader : readers) {
        well = reader.endsWell() && well;
    }
    figures->stop = true;
    well = writer.endsWell() && well;
    printFigure("reader processes", static_cast<std::int64_t>(started));
    printFigure("generations written", figures->generations);
    well = figures->holds.printAndCheck(options) && well;
    well = figures->reads.printAndCheck() && figures->reads.interrupted == 0 && well;
    return nothingIsLeftOver(options) && figures->generations > 0 && well;
}

} // namespace filelock_stress
