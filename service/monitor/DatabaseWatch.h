#ifndef KEEPSAFE_SERVICE_MONITOR_DATABASEWATCH_H
#define KEEPSAFE_SERVICE_MONITOR_DATABASEWATCH_H

#include <chrono>

#include "database/Database.h"
#include "monitor/ServiceHealth.h"
#include "threads/RepeatedWork.h"

namespace keepsafe_service {

/// Asks the database again and again whether it is there, on a connection of its own, so that it takes none
/// from the service. Its end waits for an answer that is outstanding.
class DatabaseWatch {
public:
    static constexpr std::chrono::milliseconds PAUSE{5000};

    /// `health` outlives the object.
    DatabaseWatch(const Tessara::Dal::DbConnectionSettings& settings, ServiceHealth& health,
                  std::chrono::milliseconds pause = PAUSE);

private:
    void ask();

    Database database_;
    ServiceHealth& health_;
    RepeatedWork asking_; ///< last: it uses the others
};

} // namespace keepsafe_service

#endif
