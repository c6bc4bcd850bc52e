#include "LockFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ForkRegistry.h"
#include "file_status.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

static_assert(sizeof(off_t) == 8, "the lock bytes lie beyond what a 32-bit offset reaches");

[[noreturn]] void failToOpen(int error) { throw LockFileError(SystemErrorText(error).text()); }

void requireRegular(mode_t mode)
{
    if (!S_ISREG(mode)) {
        throw LockFileError("not a regular file");
    }
}

/// Checked before opening, because merely opening a FIFO or a device can have side effects.
void refuseOtherThanRegular(const std::string& path)
{
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        requireRegular(status.st_mode);
    }
}

int openOnce(const std::string& path, int flags, mode_t mode = 0) noexcept
{
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), flags, mode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

/// The state of what a new lock file takes after: the document that it is for, or its folder.
struct stat modelFor(const std::string& path)
{
    struct stat status {};
    std::filesystem::path document(path);
    const std::filesystem::path folder = document.parent_path();
    if (document.extension() == ".lck" && stat(document.replace_extension().c_str(), &status) == 0) {
        return status;
    }
    if (stat(folder.empty() ? "." : folder.c_str(), &status) != 0) {
        status = {};
    }
    return status;
}

/// Who may read the model may open the lock file to share the lock; the model's owner may take it
/// exclusively. The umask has no effect.
void restrictLike(int descriptor, const struct stat& model) noexcept
{
    constexpr auto AS_IT_IS = static_cast<uid_t>(-1);
    if (fchown(descriptor, model.st_uid, model.st_gid) != 0 &&
        fchown(descriptor, AS_IT_IS, model.st_gid) != 0) {
        // Only a privileged process may give files away: then the group must not read what it might not.
    }
    mode_t mode = S_IRUSR | S_IWUSR | (model.st_mode & (S_IRGRP | S_IROTH));
    struct stat made {};
    const bool isOfModelsGroup = fstat(descriptor, &made) == 0 && made.st_gid == model.st_gid;
    if (!isOfModelsGroup && (mode & S_IROTH) == 0) {
        mode &= ~mode_t{S_IRGRP};
    }
    static_cast<void>(fchmod(descriptor, mode)); // without it, the umask may keep others out
}

int create(const std::string& path, int flags)
{
    const struct stat model = modelFor(path);
    const mode_t mode = S_IRUSR | S_IWUSR | (model.st_mode & (S_IRGRP | S_IROTH));
    const int descriptor = openOnce(path, flags | O_CREAT | O_EXCL, mode);
    if (descriptor < 0 && errno == EEXIST) {
        return openOnce(path, flags); // somebody else has made it
    }
    if (descriptor >= 0) {
        restrictLike(descriptor, model);
    }
    return descriptor;
}

int openDescriptor(const std::string& path, LockFile::Access access, bool createIfMissing)
{
    // O_NONBLOCK: nothing hangs if a FIFO takes the file's place just now.
    const int flags =
        (access == LockFile::Access::Read ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    // First without O_CREAT: a user who may not write in the folder can still share an existing file.
    int descriptor = openOnce(path, flags);
    if (descriptor < 0 && errno == ENOENT && createIfMissing) {
        descriptor = create(path, flags);
    }
    if (descriptor < 0) {
        failToOpen(errno);
    }
    return descriptor;
}

} // namespace

LockFileError::~LockFileError() = default;

LockFile::Outcome requestLock(int descriptor, int command, int type, off_t start, off_t length,
                              struct flock* answer) noexcept
{
    struct flock lock {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    int result = 0;
    do {
        result = fcntl(descriptor, command, &lock);
    } while (result != 0 && errno == EINTR);
    if (answer != nullptr) {
        *answer = lock;
    }
    if (result == 0) {
        return LockFile::Outcome::Done;
    }
    return errno == EAGAIN || errno == EACCES ? LockFile::Outcome::Busy : LockFile::Outcome::Failed;
}

SystemErrorText::SystemErrorText(int error) noexcept
    : text_(strerror_r(error, buffer_.data(), buffer_.size()))
{
}

LockFile::~LockFile() { close(); }

void LockFile::open(const std::string& path, Access access, bool createIfMissing)
{
    close();
    refuseOtherThanRegular(path);
    const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
    descriptor_ = openDescriptor(path, access, createIfMissing);
    struct stat status {};
    const bool known = fstat(descriptor_, &status) == 0;
    if (!known || !S_ISREG(status.st_mode)) {
        const int error = errno;
        ::close(descriptor_);
        descriptor_ = -1;
        if (!known) {
            failToOpen(error);
        }
        requireRegular(status.st_mode);
    }
    device_ = status.st_dev;
    inode_ = status.st_ino;
}

void LockFile::close() noexcept
{
    if (isOpen()) {
        const std::lock_guard<std::mutex> noFork(ForkRegistry::mutex());
        closeUnderForkMutex();
    }
}

void LockFile::closeUnderForkMutex() noexcept
{
    if (isOpen() && !isForeignDescriptor()) {
        ::close(descriptor_);
    }
    descriptor_ = -1;
}

LockFile::Outcome LockFile::tryShareData() noexcept
{
    return requestLock(descriptor_, F_OFD_SETLK, F_RDLCK, DATA);
}

LockFile::Outcome LockFile::tryLockData() noexcept
{
    return requestLock(descriptor_, F_OFD_SETLK, F_WRLCK, DATA);
}

LockFile::Outcome LockFile::tryLockGate() noexcept
{
    return requestLock(descriptor_, F_OFD_SETLK, F_WRLCK, GATE);
}

LockFile::Outcome LockFile::askGate() noexcept
{
    struct flock answer {};
    const Outcome outcome = requestLock(descriptor_, F_OFD_GETLK, F_RDLCK, GATE, 1, &answer);
    return outcome == Outcome::Done && answer.l_type != F_UNLCK ? Outcome::Busy : outcome;
}

LockFile::Outcome LockFile::askData(int& type) noexcept
{
    struct flock answer {};
    const Outcome outcome = requestLock(descriptor_, F_OFD_GETLK, F_WRLCK, DATA, 1, &answer);
    type = answer.l_type;
    return outcome;
}

LockFile::Outcome LockFile::unlockGate() noexcept
{
    return requestLock(descriptor_, F_OFD_SETLK, F_UNLCK, GATE);
}

LockFile::Outcome LockFile::unlockData() noexcept
{
    return requestLock(descriptor_, F_OFD_SETLK, F_UNLCK, DATA);
}

LockFile::Outcome LockFile::unlockAll() noexcept
{
    // Nothing but the two bytes: the host program may have closed the descriptor and own its number now,
    // with locks on another file.
    return requestLock(descriptor_, F_OFD_SETLK, F_UNLCK, GATE, 2);
}

bool LockFile::isIntact() const noexcept
{
    struct stat status {};
    return Process::fileStatus(descriptor_, status) == 0 && status.st_dev == device_ &&
           status.st_ino == inode_ && status.st_nlink > 0;
}

bool LockFile::isCurrent(const std::string& path) const noexcept
{
    struct stat status {};
    return isOwnDescriptor() && stat(path.c_str(), &status) == 0 && status.st_dev == device_ &&
           status.st_ino == inode_;
}

bool LockFile::hasOwnFlags() const noexcept
{
    // Code that reuses the number for the same file is unlikely to open it with O_NONBLOCK.
    const int flags = fcntl(descriptor_, F_GETFL);
    return flags >= 0 && (flags & O_NONBLOCK) != 0;
}

bool LockFile::isOwnDescriptor() const noexcept
{
    struct stat status {};
    return hasOwnFlags() && fstat(descriptor_, &status) == 0 && status.st_dev == device_ &&
           status.st_ino == inode_;
}

bool LockFile::isForeignDescriptor() const noexcept
{
    // An open file that cannot be asked what it is keeps its locks until it is closed: it counts as our own.
    struct stat status {};
    return !hasOwnFlags() ||
           (fstat(descriptor_, &status) == 0 && (status.st_dev != device_ || status.st_ino != inode_));
}

} // namespace Tessara::Keepsafe::Platform::filelock
