#include "daemon/Watchdog.h"

#include <algorithm>
#include <utility>

#include "daemon/service_manager.h"

namespace keepsafe_service {

namespace {

constexpr std::chrono::microseconds SHORTEST_PAUSE{1000};
constexpr int SIGNS_IN_A_PERIOD = 4;

RepeatedWork::Pauses pausesIn(std::chrono::microseconds period)
{
    const auto pause = std::max(period / SIGNS_IN_A_PERIOD, SHORTEST_PAUSE);
    return {pause, pause};
}

} // namespace

Watchdog::Watchdog(std::chrono::microseconds period, std::function<bool()> hasMadeProgress)
    : signs_(pausesIn(period), [hasMadeProgress = std::move(hasMadeProgress)] {
          if (hasMadeProgress()) {
              mentionToServiceManager("WATCHDOG=1");
          }
      })
{
}

} // namespace keepsafe_service
