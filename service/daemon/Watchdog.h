#ifndef KEEPSAFE_SERVICE_DAEMON_WATCHDOG_H
#define KEEPSAFE_SERVICE_DAEMON_WATCHDOG_H

#include <chrono>
#include <functional>

#include "threads/RepeatedWork.h"

namespace keepsafe_service {

/// Tells the service manager four times in its period that the service is well, as long as it makes progress;
/// a service that does not is restarted by its manager.
class Watchdog {
public:
    /// `hasMadeProgress` is asked by a thread of this object, throws nothing, and outlives the object.
    Watchdog(std::chrono::microseconds period, std::function<bool()> hasMadeProgress);

private:
    RepeatedWork signs_;
};

} // namespace keepsafe_service

#endif
