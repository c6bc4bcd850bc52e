#include "accesscontrol/Retry.h"

#include <algorithm>

namespace keepsafe_service {

Retry::~Retry()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Retry::begin()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    isNeeded_ = true;
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { run(); });
    }
    changed_.notify_all();
}

void Retry::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!isEnding_) {
        changed_.wait(lock, [this] { return isEnding_ || isNeeded_; });
        std::chrono::milliseconds pause = pauses_.first;
        while (isNeeded_ && !changed_.wait_for(lock, pause, [this] { return isEnding_; })) {
            isNeeded_ = false; // what fails from here on, also elsewhere, asks for another attempt
            lock.unlock();
            const bool hasSucceeded = attempt_();
            lock.lock();
            isNeeded_ = isNeeded_ || !hasSucceeded;
            pause = std::min(pause * 2, pauses_.longest);
        }
    }
}

} // namespace keepsafe_service
