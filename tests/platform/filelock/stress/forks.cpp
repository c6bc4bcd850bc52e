// A process with many threads that take the lock forks all the time. No child may inherit a hold, and when
// the process dies while children live, the lock must be free.

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Child.h"
#include "measures.h"

namespace filelock_stress {

namespace {

struct ForkFigures {
    std::atomic<bool> stop;
    std::atomic<std::int64_t> children;
    std::atomic<std::int64_t> inheritedDescriptors;
    std::atomic<std::int64_t> sharedByChildren;
};

std::int64_t descriptorsOf(const std::string& path)
{
    std::int64_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the iterator's own descriptor
        count += std::filesystem::read_symlink(entry.path(), gone) == path ? 1 : 0;
    }
    return count;
}

/// What a child does: it looks at what it has inherited and then uses the lock itself.
void examineChild(const FileLock& lock, ForkFigures& figures)
{
    figures.inheritedDescriptors += descriptorsOf(lock.name());
    {
        const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
        ++figures.sharedByChildren;
    }
    ++figures.children;
}

void useLockInTurns(const FileLock& lock, const std::atomic<bool>& stop)
{
    for (unsigned turn = 0; !stop; ++turn) {
        const int type = turn % 16 == 0 ? FileLock::EXCLUSIVE : FileLock::SHARED;
        const FileLockGuard guard(lock, type, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    }
}

/// Forks children; every other one stays until the stress run's own process ends.
[[noreturn]] void forkForever(const FileLock& lock, ForkFigures& figures, pid_t stressRun)
{
    for (unsigned number = 0;; ++number) {
        const pid_t child = fork();
        if (child == 0) {
            examineChild(lock, figures);
            while (number % 8 == 0 && !figures.stop && kill(stressRun, 0) == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            _exit(0);
        }
        if (number % 8 != 0) {
            waitpid(child, nullptr, 0);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
}

/// One process with many threads; it is killed while children of it live.
bool killForker(const Options& options, ForkFigures& figures)
{
    const pid_t stressRun = getpid();
    const std::int64_t before = figures.children;
    Child forker([&] {
        const FileLock lock = makeLock(options);
        std::atomic<bool> never{false};
        std::thread forking([&] { forkForever(lock, figures, stressRun); });
        onThreads(options.threads, [&] { useLockInTurns(lock, never); });
    });
    while (figures.children < before + 50) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    forker.kill();
    // In a process of its own, so that this one stays without locks.
    Child successor([&] {
        const FileLock lock = makeLock(options);
        const FileLockGuard guard(lock, FileLock::EXCLUSIVE, 5000, FileLock::DEFAULT_INTERVAL);
    });
    return successor.endsWell();
}

} // namespace

bool forks(const Options& options)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1); // the children of killed processes come here
    const Shared<ForkFigures> figures;
    std::int64_t killed = 0;
    bool well = true;
    for (const Clock::time_point end = Clock::now() + options.duration; well && Clock::now() < end;
         ++killed) {
        well = killForker(options, *figures);
    }
    figures->stop = true;
    while (waitpid(-1, nullptr, 0) > 0) {
    }
    printFigure("processes killed while their children lived", killed);
    printFigure("children", figures->children);
    printFigure("descriptors that children inherited", figures->inheritedDescriptors);
    std::cout << "lock free after each kill: " << (well ? "yes" : "NO") << std::endl;
    return well && figures->inheritedDescriptors == 0 && figures->children > 0;
}

} // namespace filelock_stress
