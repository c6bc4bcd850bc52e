#ifndef KEEPSAFE_SERVICE_DAEMON_SERVE_H
#define KEEPSAFE_SERVICE_DAEMON_SERVE_H

#include <chrono>
#include <optional>
#include <string>

#include <keepsafe/platform/dal/Dal.h>

#include "monitor/MonitorAddress.h"
#include "server/HttpsListener.h"
#include "server/ListenAddress.h"

namespace keepsafe_service {

struct ServiceSettings {
    std::string root; ///< the installation root whose processes read the access cache
    ListenAddress address;
    ServerTlsFiles tls;
    Tessara::Dal::DbConnectionSettings database;
    /// For which a change waits for a lock that others hold, before it is answered that it is not published.
    std::chrono::milliseconds longestLockWait{2000};
    std::optional<MonitorAddress> monitor = {}; ///< where health and metrics are answered; nowhere without it
    std::string version = {};                   ///< for monitoring
};

/// Runs the access-control service until SIGTERM or SIGINT. When clients are answered, it prints "listening
/// on https://ADDRESS:PORT" and tells the service manager. The process has one thread when this is called.
/// It returns within 2 s of the signal, or ends the process with status 1 if something takes longer.
///
/// Throws `InputError`, `AlreadyRunning`, `DatabaseError`, `FileError`, `PublishError`, and
/// `std::runtime_error` for what the system refuses.
void serve(const ServiceSettings& settings);

} // namespace keepsafe_service

#endif
