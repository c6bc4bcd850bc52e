#ifndef KEEPSAFE_SRC_PROCESS_FILESTATE_H
#define KEEPSAFE_SRC_PROCESS_FILESTATE_H

#include <ctime>

#include <sys/stat.h>

namespace Tessara::Keepsafe::Process {

/// Distinguishes one state of a file from another without reading it: a file that is replaced or rewritten
/// under the same path has a different state.
struct FileState {
    FileState() = default;
    explicit FileState(const struct stat& status) noexcept
        : device(status.st_dev), inode(status.st_ino), size(status.st_size), modified(status.st_mtim),
          changed(status.st_ctim)
    {
    }

    friend bool operator==(const FileState& left, const FileState& right) noexcept
    {
        const auto same = [](const timespec& a, const timespec& b) {
            return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
        };
        return left.inode == right.inode && left.device == right.device && left.size == right.size &&
               same(left.modified, right.modified) && same(left.changed, right.changed);
    }

    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};
};

} // namespace Tessara::Keepsafe::Process

#endif
