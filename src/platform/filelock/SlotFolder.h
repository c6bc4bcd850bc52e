#ifndef KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOTFOLDER_H
#define KEEPSAFE_SRC_PLATFORM_FILELOCK_SLOTFOLDER_H

#include <cerrno>
#include <cstddef>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "Descriptor.h"

namespace Tessara::Keepsafe::Platform::filelock {

/// Which file a path led to.
struct FileIdentity {
    FileIdentity() = default;
    explicit FileIdentity(const struct stat& status) noexcept : device(status.st_dev), inode(status.st_ino) {}

    friend bool operator==(const FileIdentity& left, const FileIdentity& right) noexcept
    {
        return left.device == right.device && left.inode == right.inode;
    }

    dev_t device = 0;
    ino_t inode = 0;
};

/// Whether the path leads to exactly that file or folder, with its `status`. A link to it does not count:
/// neither readers nor writers follow one.
[[nodiscard]] inline bool isAt(const std::string& path, const FileIdentity& file,
                               struct stat& status) noexcept
{
    return lstat(path.c_str(), &status) == 0 && FileIdentity(status) == file;
}
[[nodiscard]] inline bool isAt(const std::string& path, const FileIdentity& file) noexcept
{
    struct stat status {};
    return isAt(path, file, status);
}

/// The open folder `<lock file>.readers`. Never follows a symbolic link. Its user holds the fork mutex
/// meanwhile, so that no child inherits descriptors.
class SlotFolder {
public:
    static constexpr char SUFFIX[] = ".readers";
    static constexpr char CONTROL[] = "control";
    static constexpr char READER_PREFIX[] = "reader-";

    /// Beside the file itself: if the lock file's name is a symbolic link, the folder is the target's.
    [[nodiscard]] static std::string pathFor(const std::string& lockPath);

    /// Opens the folder. On failure `isOpen` is false and `error` gives the reason.
    explicit SlotFolder(const std::string& path) noexcept;

    [[nodiscard]] bool isOpen() const noexcept { return folder_.isOpen(); }
    [[nodiscard]] int error() const noexcept { return error_; }
    /// Whether it is on a file system on which all processes see the same memory through their mappings.
    [[nodiscard]] bool isCoherent() const noexcept;
    [[nodiscard]] int descriptor() const noexcept { return folder_.get(); }

    /// Opens a regular file of the folder; `access` is O_RDONLY or O_RDWR. On failure the result is not open
    /// and `errno` gives the reason, with ELOOP for anything that is not a regular file.
    [[nodiscard]] Process::Descriptor openFile(const char* name, int access,
                                               struct stat& status) const noexcept;

    /// A new file of that size without a name, with disk space allocated for all of it, so that no write to a
    /// mapping of it can fail; not open if it cannot be made. `giveName` does not replace an existing file.
    [[nodiscard]] Process::Descriptor unnamedFile(std::size_t size) const noexcept;
    [[nodiscard]] bool giveName(const Process::Descriptor& file, const char* name) const noexcept;

    struct Reader {
        std::string name;
        ino_t inode;
    };
    /// The current readers' files. Throws `LockFileError` when the folder cannot be read.
    [[nodiscard]] std::vector<Reader> readers() const;

private:
    Process::Descriptor folder_;
    int error_ = 0;
};

} // namespace Tessara::Keepsafe::Platform::filelock

#endif
