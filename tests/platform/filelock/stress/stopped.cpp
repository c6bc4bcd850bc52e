// A process that is stopped while it has to do with the lock must not stop the others for long.

#include <csignal>
#include <vector>

#include <unistd.h>

#include "Child.h"
#include "measures.h"

namespace filelock_stress {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

struct WriterProgress {
    std::atomic<bool> waiting;
    std::atomic<bool> done;
};

std::vector<Child> startReaders(const Options& options, ReaderFigures& figures)
{
    std::vector<Child> readers;
    readers.reserve(static_cast<std::size_t>(options.processes));
    for (int i = 0; i < options.processes; ++i) {
        readers.emplace_back([&] {
            const FileLock lock = makeLock(options);
            onThreads(options.threads, [&] { readInALoop(lock, figures); });
        });
    }
    return readers;
}

Child startWriter(const Options& options, WriterProgress& progress)
{
    return Child([&] {
        const FileLock lock = makeLock(options);
        progress.waiting = true;
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                  FileLock::DEFAULT_INTERVAL);
        progress.done = true;
    });
}

void waitFor(const std::atomic<bool>& flag)
{
    while (!flag) {
        std::this_thread::sleep_for(milliseconds(1));
    }
}

/// A process that holds the shared lock and has stopped.
Child startStoppedReader(const Options& options)
{
    return Child([&] {
        const FileLock lock = makeLock(options);
        const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
        kill(getpid(), SIGSTOP);
    });
}

bool endWell(std::vector<Child>& children)
{
    bool well = true;
    for (Child& child : children) {
        well = child.endsWell() && well;
    }
    return well;
}

} // namespace

bool stoppedReader(const Options& options)
{
    const Shared<ReaderFigures> figures;
    const Shared<WriterProgress> progress;
    Child stopped = startStoppedReader(options);
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
    printFigure("reader holds", figures->holds);
    well = printBounded("reader wait, longest", figures->longestWait(), milliseconds(150)) && well;
    return printBounded("writer wait after the reader went on", afterwards, seconds(2)) && well;
}

bool stoppedWriter(const Options& options)
{
    const Shared<ReaderFigures> figures;
    const Shared<WriterProgress> progress;
    Child reader = startStoppedReader(options);
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
    well = endWell(readers) && figures->holds > 0 && well;
    writer.signal(SIGCONT);
    well = writer.endsWell() && well;
    printFigure("reader holds", figures->holds);
    return printBounded("reader wait, longest", figures->longestWait(), milliseconds(250)) && well;
}

} // namespace filelock_stress
