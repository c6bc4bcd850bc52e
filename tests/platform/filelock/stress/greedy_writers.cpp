// Writers that want the lock again as soon as they have released it: the readers must not starve.

#include <vector>

#include "Child.h"
#include "measures.h"

namespace filelock_stress {

namespace {

void writeInALoop(const Options& options, std::atomic<bool>& stop, std::atomic<std::int64_t>& holds)
{
    const FileLock lock = makeLock(options);
    while (!stop) {
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                  FileLock::DEFAULT_INTERVAL);
        std::this_thread::sleep_for(options.hold);
        ++holds;
    }
}

} // namespace

bool greedyWriters(const Options& options)
{
    const Shared<ReaderFigures> figures;
    const Shared<std::atomic<std::int64_t>> writerHolds;
    std::vector<Child> children;
    children.reserve(static_cast<std::size_t>(options.writers) + static_cast<std::size_t>(options.processes));
    for (int i = 0; i < options.writers; ++i) {
        children.emplace_back([&] { writeInALoop(options, figures->stop, *writerHolds); });
    }
    for (int i = 0; i < options.processes; ++i) {
        children.emplace_back([&] {
            const FileLock lock = makeLock(options);
            onThreads(options.threads, [&] { readInALoop(lock, *figures); });
        });
    }
    std::this_thread::sleep_for(options.duration);
    figures->stop = true;
    bool well = true;
    for (Child& child : children) {
        well = child.endsWell() && well;
    }
    printFigure("writer holds", *writerHolds);
    printFigure("reader holds", figures->holds);
    well = *writerHolds > 0 && figures->holds > 0 && well;
    return printBounded("reader wait, longest", figures->longestWait(), std::chrono::milliseconds(200)) &&
           well;
}

} // namespace filelock_stress
