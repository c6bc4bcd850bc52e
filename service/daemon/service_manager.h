#ifndef KEEPSAFE_SERVICE_DAEMON_SERVICE_MANAGER_H
#define KEEPSAFE_SERVICE_DAEMON_SERVICE_MANAGER_H

#include <chrono>
#include <optional>
#include <string>

namespace keepsafe_service {

/// Sends a state, as "READY=1", to the service manager that has started this process and waits for it, by the
/// protocol of sd_notify(3): a datagram to the socket that the environment variable NOTIFY_SOCKET names. Does
/// nothing without the variable. Throws `std::runtime_error` when the manager cannot be reached.
void tellServiceManager(const std::string& state);

/// The same for what it may miss, as "STATUS=...": never waits for a manager that does not read, and keeps
/// silent when it cannot be reached.
void mentionToServiceManager(const std::string& state) noexcept;

/// How often the manager that has started this process wants to hear "WATCHDOG=1": at least once in this
/// time. Nothing when it does not, and for an environment that is meant for another process.
[[nodiscard]] std::optional<std::chrono::microseconds> watchdogPeriod();

} // namespace keepsafe_service

#endif
