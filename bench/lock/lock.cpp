// What the file lock costs, beside the bare system calls that the kernel lock cannot avoid.

#include <cstddef>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include <fcntl.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "support/Descriptor.h"
#include "support/TempDir.h"
#include "workloads.h"

namespace keepsafe_bench {
namespace {

constexpr std::size_t PAIRS = 1000;

void hold(const FileLock& lock, int type)
{
    const FileLockGuard guard(lock, type, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
}

std::function<void()> pairs(const FileLock& lock, int type, std::size_t count = PAIRS)
{
    return times(count, [lock, type] { hold(lock, type); });
}

/// A lock on a new file in the folder. Readers take it by the kernel until a writer has held it.
FileLock newLock(const keepsafe_test::TempDir& folder, const std::string& name)
{
    keepsafe_test::writeFile(folder.path(name), "");
    return FileLockManager::instance().getLock(folder.path(name));
}

void setLock(const keepsafe_test::Descriptor& file, int type)
{
    struct flock request {};
    request.l_type = static_cast<short>(type);
    request.l_whence = SEEK_SET;
    request.l_len = 1;
    require(fcntl(file.get(), F_OFD_SETLK, &request) == 0, "the bare lock is free");
}

/// The cost of holds within those of another thread.
std::function<double()> joining(const FileLock& lock)
{
    return [lock] {
        std::promise<void> held;
        std::promise<void> done;
        std::thread holder([&] {
            const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                      FileLock::DEFAULT_INTERVAL);
            held.set_value();
            done.get_future().wait();
        });
        held.get_future().wait();
        const double taken = nanosecondsOf(pairs(lock, FileLock::SHARED));
        done.set_value();
        holder.join();
        return taken / PAIRS;
    };
}

/// Two threads in tight loops: they overlap most of the time.
std::function<void()> onTwoThreads(const FileLock& lock)
{
    return [work = pairs(lock, FileLock::SHARED)] {
        std::thread other(work);
        work();
        other.join();
    };
}

} // namespace

void measureLock(const Settings& settings, Report& report)
{
    const keepsafe_test::TempDir folder;
    const FileLock byKernel = newLock(folder, "kernel");
    const FileLock bySlots = newLock(folder, "slots");
    const FileLock exclusive = newLock(folder, "exclusive");
    hold(bySlots, FileLock::EXCLUSIVE);
    const auto bareFile = keepsafe_test::openFile(folder.path("bare"), O_RDWR | O_CREAT);

    Turns turns(settings.rounds * 10);
    const auto bare = turns.add(PAIRS, times(PAIRS, [&bareFile] {
                                    setLock(bareFile, F_RDLCK);
                                    setLock(bareFile, F_UNLCK);
                                }));
    const auto kernel = turns.add(PAIRS, pairs(byKernel, FileLock::SHARED));
    const auto slots = turns.add(PAIRS, pairs(bySlots, FileLock::SHARED));
    const auto nested = turns.add(PAIRS, [&bySlots] {
        const FileLockGuard outer(bySlots, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                  FileLock::DEFAULT_INTERVAL);
        pairs(bySlots, FileLock::SHARED)();
    });
    const auto joined = turns.add(joining(byKernel));
    const auto two = turns.add(2 * PAIRS, onTwoThreads(byKernel));
    const auto twoBySlots = turns.add(2 * PAIRS, onTwoThreads(bySlots));
    constexpr std::size_t FEW = 5; // each waits for a writer's rest of a millisecond
    const auto writer = turns.add(FEW, pairs(exclusive, FileLock::EXCLUSIVE, FEW));
    turns.run();
    report.line("lock/shared by the kernel", turns.figures(kernel), turns.figures(bare));
    report.line("lock/shared by a slot", turns.figures(slots));
    report.line("lock/shared inside shared", turns.figures(nested));
    report.line("lock/shared beside another thread's hold", turns.figures(joined));
    report.line("lock/shared by the kernel, two threads", turns.figures(two));
    report.line("lock/shared by slots, two threads", turns.figures(twoBySlots));
    report.line("lock/exclusive, with the writer's rest", turns.figures(writer));
}

} // namespace keepsafe_bench
