// Readers in tight loops against one writer: the writer must not starve, nor the readers.

#include <vector>

#include "measures.h"

namespace filelock_stress {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

/// Longer than any bound: a writer that starves gives up, so that the run ends.
constexpr int WRITER_TIMEOUT_MS = 2000;

Waits waitsOfAWriter(const ProcessLock& lock, Clock::duration duration)
{
    Waits waits;
    const Clock::time_point end = Clock::now() + duration;
    while (Clock::now() < end) {
        waits.add(timed([&] {
            try {
                const FileLockGuard guard = lock.exclude(WRITER_TIMEOUT_MS);
            } catch (const FileLockTimeout&) {
                std::cout << "the writer gave up after " << WRITER_TIMEOUT_MS << " ms" << std::endl;
            }
        }));
        std::this_thread::sleep_for(milliseconds(2));
    }
    return waits;
}

} // namespace

bool fairness(const Options& options)
{
    const Shared<ReaderFigures> figures;
    std::vector<Child> readers = startReaders(options, *figures);
    Waits waits = waitsOfAWriter(ProcessLock::ofWriter(options), options.duration);
    figures->stop = true;
    bool well = endWell(readers);
    printFigure("writer holds", static_cast<std::int64_t>(waits.count()));
    well = figures->holds.printAndCheck(options) && well;
    printFigure("writer wait, median", waits.quantile(0.5));
    well = printBounded("writer wait, 99 %", waits.quantile(0.99), milliseconds(10)) && well;
    well = printBounded("writer wait, longest", waits.quantile(1), milliseconds(100)) && well;
    return printBounded("reader wait, longest", figures->longestWait(), milliseconds(200)) && well;
}

} // namespace filelock_stress
