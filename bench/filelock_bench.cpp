// What the file lock costs, beside the bare system calls that it cannot avoid.

#include <cstdlib>
#include <future>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>

namespace {

/// A lock file of this program's own in the folder for temporary files.
class LockFileForBenchmark {
public:
    LockFileForBenchmark() : path_("/tmp/filelock_bench_XXXXXX") { close(mkstemp(path_.data())); }
    ~LockFileForBenchmark() { unlink(path_.c_str()); }
    LockFileForBenchmark(const LockFileForBenchmark&) = delete;
    LockFileForBenchmark& operator=(const LockFileForBenchmark&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] FileLock lock() const { return FileLockManager::instance().getLock(path_); }

private:
    std::string path_;
};

void setLock(int descriptor, int type)
{
    struct flock request {};
    request.l_type = static_cast<short>(type);
    request.l_whence = SEEK_SET;
    request.l_start = 0;
    request.l_len = 1;
    if (fcntl(descriptor, F_OFD_SETLK, &request) != 0) {
        std::abort();
    }
}

void bareOfdPair(benchmark::State& state)
{
    const LockFileForBenchmark file;
    const int descriptor = open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
    while (state.KeepRunning()) {
        setLock(descriptor, F_RDLCK);
        setLock(descriptor, F_UNLCK);
    }
    close(descriptor);
}
BENCHMARK(bareOfdPair);

void pairOfType(benchmark::State& state, int lockType)
{
    const LockFileForBenchmark file;
    const FileLock lock = file.lock();
    while (state.KeepRunning()) {
        const FileLockGuard guard(lock, lockType, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    }
}

void sharedPair(benchmark::State& state) { pairOfType(state, FileLock::SHARED); }
BENCHMARK(sharedPair);

/// Dominated by the millisecond of rest between two exclusive holds: see the processor time.
void exclusivePair(benchmark::State& state) { pairOfType(state, FileLock::EXCLUSIVE); }
BENCHMARK(exclusivePair)->Unit(benchmark::kMicrosecond);

/// Shared inside shared.
void nestedSharedPair(benchmark::State& state)
{
    const LockFileForBenchmark file;
    const FileLock lock = file.lock();
    const FileLockGuard outer(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    while (state.KeepRunning()) {
        const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    }
}
BENCHMARK(nestedSharedPair);

/// What a thread pays whose holds lie within those of another one.
void joinAndLeave(benchmark::State& state)
{
    const LockFileForBenchmark file;
    const FileLock lock = file.lock();
    std::promise<void> held;
    std::promise<void> done;
    std::thread holder([&] {
        const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
        held.set_value();
        done.get_future().wait();
    });
    held.get_future().wait();
    while (state.KeepRunning()) {
        const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    }
    done.set_value();
    holder.join();
}
BENCHMARK(joinAndLeave);

/// Two threads in tight loops on one lock: they overlap most of the time.
void sharedPairOnTwoThreads(benchmark::State& state)
{
    static const LockFileForBenchmark file;
    static const FileLock lock = file.lock();
    while (state.KeepRunning()) {
        const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    }
}
BENCHMARK(sharedPairOnTwoThreads)->Threads(2)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
