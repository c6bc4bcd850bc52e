#include "SlotFolder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "LockFile.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

constexpr int FLAGS = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr long XFS_MAGIC = 0x58465342; // in no header of the kernel's interface

struct FreeMemory {
    void operator()(char* text) const noexcept { std::free(text); } // NOLINT(cppcoreguidelines-no-malloc)
};

struct CloseDirectory {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};

} // namespace

SlotFolder::SlotFolder(const std::string& path) noexcept
    : folder_(open(path.c_str(), O_RDONLY | O_DIRECTORY | FLAGS)), error_(folder_.isOpen() ? 0 : errno)
{
}

bool SlotFolder::isCoherent() const noexcept
{
    // The file systems that keep one copy of a file's pages for the whole machine. On others (network file
    // systems, and overlays, whose files change their identity when they are first written) nobody uses
    // slots.
    constexpr std::array<long, 6> KNOWN{EXT4_SUPER_MAGIC, XFS_MAGIC,   BTRFS_SUPER_MAGIC,
                                        F2FS_SUPER_MAGIC, TMPFS_MAGIC, RAMFS_MAGIC};
    struct statfs status {};
    return fstatfs(descriptor(), &status) == 0 &&
           std::find(KNOWN.begin(), KNOWN.end(), status.f_type) != KNOWN.end();
}

std::string SlotFolder::pathFor(const std::string& lockPath)
{
    struct stat status {};
    if (lstat(lockPath.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
        const std::unique_ptr<char, FreeMemory> target(realpath(lockPath.c_str(), nullptr));
        if (target) {
            return target.get() + std::string(SUFFIX);
        }
    }
    return lockPath + SUFFIX;
}

Process::Descriptor SlotFolder::unnamedFile(std::size_t size) const noexcept
{
    Process::Descriptor file(openat(descriptor(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.isOpen() && fallocate(file.get(), 0, 0, static_cast<off_t>(size)) != 0) {
        return {};
    }
    return file;
}

bool SlotFolder::giveName(const Process::Descriptor& file, const char* name) const noexcept
{
    std::array<char, 64> self{};
    static_cast<void>(std::snprintf(self.data(), self.size(), "/proc/self/fd/%d", file.get()));
    return linkat(AT_FDCWD, self.data(), descriptor(), name, AT_SYMLINK_FOLLOW) == 0;
}

Process::Descriptor SlotFolder::openFile(const char* name, int access, struct stat& status) const noexcept
{
    // Checked before opening, because merely opening a device can have side effects.
    if (fstatat(descriptor(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return {};
    }
    if (!S_ISREG(status.st_mode)) {
        errno = ELOOP;
        return {};
    }
    Process::Descriptor file(openat(descriptor(), name, access | FLAGS));
    if (file.isOpen() && (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        errno = ELOOP;
        return {};
    }
    return file;
}

std::vector<SlotFolder::Reader> SlotFolder::readers() const
{
    // Opened again: two readings through one open folder would share their position.
    Process::Descriptor copy(openat(descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseDirectory> directory(copy.isOpen() ? fdopendir(copy.get()) : nullptr);
    if (!directory) {
        throw LockFileError(std::string("cannot list the readers' slots: ") + SystemErrorText(errno).text());
    }
    copy.release();
    std::vector<Reader> readers;
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) {
        if (std::strncmp(entry->d_name, READER_PREFIX, sizeof READER_PREFIX - 1) == 0) {
            readers.push_back({entry->d_name, entry->d_ino});
        }
        errno = 0;
    }
    if (errno != 0) {
        throw LockFileError(std::string("cannot list the readers' slots: ") + SystemErrorText(errno).text());
    }
    return readers;
}

} // namespace Tessara::Keepsafe::Platform::filelock
