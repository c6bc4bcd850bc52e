#ifndef KEEPSAFE_SANDBOX_DAEMON_SERVICE_MANAGER_H
#define KEEPSAFE_SANDBOX_DAEMON_SERVICE_MANAGER_H

#include <string>

namespace keepsafe_sandbox {

/// Sends a state, as "READY=1", to the service manager that has started this process and waits for it, by the
/// protocol of sd_notify(3): a datagram to the socket that the environment variable NOTIFY_SOCKET names. Does
/// nothing without the variable. Throws `std::runtime_error` when the manager cannot be reached.
void tellServiceManager(const std::string& state);

} // namespace keepsafe_sandbox

#endif
