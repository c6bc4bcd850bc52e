// A process with many threads that take the lock forks all the time. No child may inherit a hold, and when
// the process dies while children live, the lock must be free.

#include <csignal>
#include <filesystem>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "measures.h"

namespace filelock_stress {

namespace {

struct ForkFigures {
    std::atomic<bool> stop;
    std::atomic<std::int64_t> children;
    std::atomic<std::int64_t> inheritedDescriptors;
    HoldFigures childrensHolds;
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
void examineChild(const ProcessLock& lock, const std::string& path, ForkFigures& figures)
{
    figures.inheritedDescriptors += descriptorsOf(path);
    {
        const FileLockGuard guard = lock.share();
        figures.childrensHolds.add(lock.isHeldBySlot());
    }
    ++figures.children;
}

[[noreturn]] void useLockInTurns(const ProcessLock& lock)
{
    for (unsigned turn = 0;; ++turn) {
        const FileLockGuard guard = turn % 16 == 0 ? lock.exclude() : lock.share();
    }
}

/// Forks children; every other one stays until the stress run's own process ends.
[[noreturn]] void forkForever(const ProcessLock& lock, const Options& options, ForkFigures& figures,
                              pid_t stressRun)
{
    for (unsigned number = 0;; ++number) {
        const pid_t child = fork();
        if (child == 0) {
            examineChild(lock, options.lockPath, figures);
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
bool killForker(const Options& options, std::size_t number, ForkFigures& figures)
{
    const pid_t stressRun = getpid();
    const std::int64_t before = figures.children;
    Child forker([&] {
        const ProcessLock lock = ProcessLock::ofBoth(options, number);
        std::thread forking([&] { forkForever(lock, options, figures, stressRun); });
        onThreads(options.threads, [&] { useLockInTurns(lock); });
    });
    while (figures.children < before + 50) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    forker.kill();
    return writeOnce(options);
}

} // namespace

bool forks(const Options& options)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1); // the children of killed processes come here
    const Shared<ForkFigures> figures;
    std::size_t killed = 0;
    bool well = true;
    for (const Clock::time_point end = Clock::now() + options.duration; well && Clock::now() < end;
         ++killed) {
        well = killForker(options, killed, *figures);
    }
    figures->stop = true;
    while (waitpid(-1, nullptr, 0) > 0) {
    }
    printFigure("processes killed while their children lived", static_cast<std::int64_t>(killed));
    printFigure("children", figures->children);
    printFigure("descriptors that children inherited", figures->inheritedDescriptors);
    std::cout << "lock free after each kill: " << (well ? "yes" : "NO") << std::endl;
    well = figures->childrensHolds.printAndCheck(options) && well;
    well = nothingIsLeftOver(options) && well;
    return well && figures->inheritedDescriptors == 0 && figures->children > 0;
}

} // namespace filelock_stress
