#include "threads/RepeatedWork.h"

#include <utility>

namespace keepsafe_service {

RepeatedWork::RepeatedWork(const Pauses& pauses, std::function<void()> work)
    : work_(std::move(work)), thread_([this, pauses] { run(pauses); })
{
}

RepeatedWork::~RepeatedWork()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    ending_.notify_all();
    thread_.join();
}

void RepeatedWork::run(const Pauses& pauses)
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (auto pause = pauses.first; !ending_.wait_for(lock, pause, [this] { return isEnding_; });
         pause = pauses.between) {
        lock.unlock();
        work_();
        lock.lock();
    }
}

} // namespace keepsafe_service
