#include "root/ServiceLock.h"

#include <cerrno>
#include <system_error>

#include <sys/file.h>
#include <unistd.h>

#include "files/FileError.h"
#include "files/PosixFileSystem.h"

namespace keepsafe_sandbox {

ServiceLock::ServiceLock(const RootLayout& layout, const std::string& holder)
    : file_(PosixFileSystem().openOrCreate(layout.serviceLock()))
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

} // namespace keepsafe_sandbox
