#ifndef KEEPSAFE_SERVICE_FILES_FILESYSTEM_H
#define KEEPSAFE_SERVICE_FILES_FILESYSTEM_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Descriptor.h"

namespace keepsafe_service {

/// Owns the descriptor of an open regular file and knows its path, for messages.
class OpenFile {
public:
    OpenFile(int descriptor, std::string path) noexcept : descriptor_(descriptor), path_(std::move(path)) {}

    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    Tessara::Keepsafe::Process::Descriptor descriptor_;
    std::string path_;
};

/// The system's steps that publishing is made of. Everything that publishing changes on disk goes through
/// here, so that a test can stop the writer, or let it fail, at each step in turn.
///
/// Modes do not depend on the umask. Every function throws `FileError` with the path and the system's reason.
class FileSystem {
public:
    FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;
    virtual ~FileSystem() = default;

    /// New directories have mode 0755. Returns when their entries have reached the disk.
    virtual void createDirectories(const std::string& path) = 0;
    /// Opens for reading and writing, and creates what is missing, with mode 0644; what is there keeps its
    /// content and its mode. Anything but a regular file is refused.
    virtual OpenFile openOrCreate(const std::string& path) = 0;
    /// Allocates the file's blocks up to `size` bytes, longer files stay as long as they are. Afterwards no
    /// write below `size` can fail for want of space.
    virtual void allocate(const OpenFile& file, std::uint64_t size) = 0;
    /// Writes all bytes at the offset; a failure may leave a part of them written.
    virtual void write(const OpenFile& file, std::uint64_t offset, std::string_view bytes) = 0;
    /// Cuts the file to nothing. Never for a file that others may have mapped.
    virtual void truncate(const OpenFile& file) = 0;
    /// Returns when content and size have reached the disk.
    virtual void sync(const OpenFile& file) = 0;
    /// Returns when the directory's entries have reached the disk.
    virtual void syncDirectory(const std::string& path) = 0;
    virtual void rename(const std::string& from, const std::string& to) = 0;
    /// Lets those read the file who may read the one at `model`, and nobody but the owner write it. No effect
    /// without a model.
    virtual void restrictLike(const OpenFile& file, const std::string& model) = 0;
};

/// Reading changes nothing and needs no seam.
[[nodiscard]] std::uint64_t fileSize(const OpenFile& file);
/// The bytes from `offset` on, at most `length`; fewer at the end of the file.
[[nodiscard]] std::string readAt(const OpenFile& file, std::uint64_t offset, std::size_t length);
/// The file's whole content; nothing when there is no file. Anything but a regular file is refused.
[[nodiscard]] std::optional<std::string> readWhole(const std::string& path);

} // namespace keepsafe_service

#endif
