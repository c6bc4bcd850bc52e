#ifndef KEEPSAFE_SERVICE_MONITOR_DATABASEWATCH_H
#define KEEPSAFE_SERVICE_MONITOR_DATABASEWATCH_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "database/Database.h"
#include "monitor/ServiceHealth.h"

namespace keepsafe_service {

/// Asks the database again and again whether it is there, on a connection of its own, so that it takes none
/// from the service.
class DatabaseWatch {
public:
    static constexpr std::chrono::milliseconds PAUSE{5000};

    /// `health` outlives the object.
    DatabaseWatch(const Tessara::Dal::DbConnectionSettings& settings, ServiceHealth& health,
                  std::chrono::milliseconds pause = PAUSE);
    /// Waits for an answer that is outstanding.
    ~DatabaseWatch();
    DatabaseWatch(const DatabaseWatch&) = delete;
    DatabaseWatch& operator=(const DatabaseWatch&) = delete;

private:
    void run(std::chrono::milliseconds pause);
    void ask();

    Database database_;
    ServiceHealth& health_;
    std::mutex mutex_;
    std::condition_variable ending_;
    bool isEnding_ = false;
    std::thread thread_; ///< last: it uses the others
};

} // namespace keepsafe_service

#endif
