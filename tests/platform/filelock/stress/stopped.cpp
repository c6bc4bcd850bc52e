// A process that is stopped while it has to do with the lock must not stop the others for long.

#include <csignal>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#include "measures.h"

namespace filelock_stress {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

struct WriterProgress {
    std::atomic<bool> waiting;
    std::atomic<bool> done;
};

Child startWriter(const Options& options, WriterProgress& progress)
{
    return Child([&] {
        const ProcessLock lock = ProcessLock::ofWriter(options);
        progress.waiting = true;
        const FileLockGuard guard = lock.exclude();
        progress.done = true;
    });
}

void waitFor(const std::atomic<bool>& flag)
{
    while (!flag) {
        std::this_thread::sleep_for(milliseconds(1));
    }
}

/// A process that holds the shared lock, by a slot unless slots are off, and stops itself.
Child startStoppingReader(const Options& options)
{
    return Child([&] {
        const ProcessLock lock = ProcessLock::ofReader(options, 0);
        const FileLockGuard guard = lock.share();
        if (lock.isHeldBySlot() == (options.slots == Slots::Off)) {
            throw std::runtime_error("the reader holds the lock in the wrong way");
        }
        kill(getpid(), SIGSTOP);
    });
}

} // namespace

bool stoppedReader(const Options& options)
{
    const Shared<ReaderFigures> figures;
    const Shared<WriterProgress> progress;
    Child stopped = startStoppingReader(options);
    bool well = stopped.waitUntilStopped();
    std::vector<Child> readers = startReaders(options, *figures);
    Child writer = startWriter(options, *progress);
    std::this_thread::sleep_for(options.duration);
    well = !progress->done && well;
    const Milliseconds afterwards = timed([&] {
        stopped.signal(SIGCONT);
        waitFor(progress->done);
    });
    figures->stop = true;
    well = stopped.endsWell() && writer.endsWell() && endWell(readers) && well;
    well = figures->holds.printAndCheck(options) && well;
    well = printBounded("reader wait, longest", figures->longestWait(), milliseconds(150)) && well;
    return printBounded("writer wait after the reader went on", afterwards, seconds(2)) && well;
}

bool stoppedWriter(const Options& options)
{
    const Shared<ReaderFigures> figures;
    const Shared<WriterProgress> progress;
    Child reader = startStoppingReader(options);
    bool well = reader.waitUntilStopped();
    Child writer = startWriter(options, *progress);
    waitFor(progress->waiting);
    std::this_thread::sleep_for(milliseconds(20)); // the gate stays shut for the first 50 ms
    writer.signal(SIGSTOP);
    well = writer.waitUntilStopped() && well;
    reader.signal(SIGCONT);
    well = reader.endsWell() && well;
    std::vector<Child> readers = startReaders(options, *figures);
    std::this_thread::sleep_for(options.duration);
    figures->stop = true;
    well = endWell(readers) && well;
    writer.signal(SIGCONT);
    well = writer.endsWell() && well;
    figures->holds.print();
    well = figures->holds.byKernelLock > 0 && well; // the writer keeps them from the slots
    return printBounded("reader wait, longest", figures->longestWait(), milliseconds(250)) && well;
}

} // namespace filelock_stress
