#include "ConnectTurn.h"

#include <condition_variable>
#include <mutex>

#include "ForkHandlers.h"
#include "NoDestructor.h"

namespace Tessara::Dal {
namespace {

using Clock = std::chrono::steady_clock;

std::mutex mutex;

/// Never destroyed: a thread may wait on it while the process ends.
Keepsafe::Process::NoDestructor<std::condition_variable> isOver;

/// The latest turn, guarded by the mutex.
struct {
    std::uint64_t number = 0;
    bool lasts = false;
    Clock::time_point begin;
} latest;

void lock() { mutex.lock(); }
void unlock() { mutex.unlock(); }

/// The thread whose turn it was is not in the child.
void afterForkInChild()
{
    latest.lasts = false;
    unlock();
}

const Keepsafe::Process::ForkHandlers forkHandlers(lock, unlock, afterForkInChild);

} // namespace

ConnectTurn::ConnectTurn()
{
    std::unique_lock<std::mutex> held(mutex);
    while (latest.lasts && Clock::now() < latest.begin + LONGEST) {
        isOver->wait_until(held, latest.begin + LONGEST);
    }
    number_ = ++latest.number;
    latest.lasts = true;
    latest.begin = Clock::now();
}

ConnectTurn::~ConnectTurn()
{
    {
        const std::lock_guard<std::mutex> held(mutex);
        latest.lasts = latest.lasts && latest.number != number_;
    }
    isOver->notify_one();
}

} // namespace Tessara::Dal
