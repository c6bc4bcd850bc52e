#ifndef KEEPSAFE_SERVICE_DAEMON_SERVICELOCK_H
#define KEEPSAFE_SERVICE_DAEMON_SERVICELOCK_H

#include <stdexcept>
#include <string>

#include "cachewriter/CacheLocation.h"
#include "files/FileSystem.h"

namespace keepsafe_service {

/// Another process is using the data of a root's access-control service. `what()` says which.
class AlreadyRunning : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The exclusive right to change the data of a root's access-control service, held by one process at a time.
/// The system releases it when the process dies. Only the owner can access its file, so that nobody else can
/// keep the service from starting.
class ServiceLock {
public:
    /// `holder`: what this process is, for the message of one that comes later: "the service". Throws
    /// `AlreadyRunning`, "the service is running for this root (process 42)", and `FileError`.
    ServiceLock(const CacheLocation& location, const std::string& holder);

private:
    OpenFile file_;
};

} // namespace keepsafe_service

#endif
