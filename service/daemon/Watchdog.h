#ifndef KEEPSAFE_SERVICE_DAEMON_WATCHDOG_H
#define KEEPSAFE_SERVICE_DAEMON_WATCHDOG_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace keepsafe_service {

/// Tells the service manager four times in its period that the service is well, as long as it makes progress;
/// a service that does not is restarted by its manager.
class Watchdog {
public:
    /// `hasMadeProgress` is asked by a thread of this object, throws nothing, and outlives the object.
    Watchdog(std::chrono::microseconds period, std::function<bool()> hasMadeProgress);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    void run(std::chrono::microseconds pause);

    const std::function<bool()> hasMadeProgress_;
    std::mutex mutex_;
    std::condition_variable ending_;
    bool isEnding_ = false;
    std::thread thread_; ///< last: it uses the others
};

} // namespace keepsafe_service

#endif
