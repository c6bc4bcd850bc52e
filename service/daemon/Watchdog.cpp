#include "daemon/Watchdog.h"

#include <algorithm>

#include "daemon/service_manager.h"

namespace keepsafe_service {

namespace {

constexpr std::chrono::microseconds SHORTEST_PAUSE{1000};
constexpr int SIGNS_IN_A_PERIOD = 4;

} // namespace

Watchdog::Watchdog(std::chrono::microseconds period, std::function<bool()> hasMadeProgress)
    : hasMadeProgress_(std::move(hasMadeProgress)),
      thread_([this, period] { run(std::max(period / SIGNS_IN_A_PERIOD, SHORTEST_PAUSE)); })
{
}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    ending_.notify_all();
    thread_.join();
}

void Watchdog::run(std::chrono::microseconds pause)
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ending_.wait_for(lock, pause, [this] { return isEnding_; })) {
        if (hasMadeProgress_()) {
            mentionToServiceManager("WATCHDOG=1");
        }
    }
}

} // namespace keepsafe_service
