#include "daemon/ServiceLock.h"

#include <cerrno>
#include <system_error>

#include <sys/file.h>
#include <unistd.h>

#include "files/FileError.h"
#include "files/PosixFileSystem.h"
#include "files/new_file.h"

namespace keepsafe_service {

namespace {

OpenFile openLockFile(const CacheLocation& location)
{
    const std::string path = location.folder() + "/service.lock";
    PosixFileSystem fileSystem;
    fileSystem.createDirectories(location.folder());
    createFile(path, OWNER_ONLY, "");
    return fileSystem.openOrCreate(path);
}

} // namespace

ServiceLock::ServiceLock(const CacheLocation& location, const std::string& holder)
    : file_(openLockFile(location))
{
    if (::flock(file_.descriptor(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            throw FileError("cannot lock " + file_.path() + ": " + std::generic_category().message(errno));
        }
        constexpr std::size_t MOST_BYTES = 200;
        const std::string owner = readAt(file_, 0, MOST_BYTES);
        throw AlreadyRunning(owner.empty() ? "another process is starting or ending for this root" : owner);
    }
    PosixFileSystem fileSystem;
    fileSystem.truncate(file_);
    fileSystem.write(file_, 0,
                     holder + " is running for this root (process " + std::to_string(::getpid()) + ")");
}

} // namespace keepsafe_service
