// Writers that want the lock again as soon as they have released it: the readers must not starve.

#include <vector>

#include "measures.h"

namespace filelock_stress {

namespace {

void writeInALoop(const Options& options, std::atomic<bool>& stop, std::atomic<std::int64_t>& holds)
{
    const ProcessLock lock = ProcessLock::ofWriter(options);
    while (!stop) {
        const FileLockGuard guard = lock.exclude();
        std::this_thread::sleep_for(options.hold);
        ++holds;
    }
}

} // namespace

bool greedyWriters(const Options& options)
{
    const Shared<ReaderFigures> figures;
    const Shared<std::atomic<std::int64_t>> writerHolds;
    std::vector<Child> writers;
    for (int i = 0; i < options.writers; ++i) {
        writers.emplace_back([&] { writeInALoop(options, figures->stop, *writerHolds); });
    }
    std::vector<Child> readers = startReaders(options, *figures);
    std::this_thread::sleep_for(options.duration);
    figures->stop = true;
    bool well = endWell(writers);
    well = endWell(readers) && well;
    printFigure("writer holds", *writerHolds);
    well = figures->holds.printAndCheck(options) && *writerHolds > 0 && well;
    return printBounded("reader wait, longest", figures->longestWait(), std::chrono::milliseconds(200)) &&
           well;
}

} // namespace filelock_stress
