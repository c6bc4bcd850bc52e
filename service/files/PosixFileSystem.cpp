#include "files/PosixFileSystem.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "files/FileError.h"

namespace keepsafe_service {

namespace {

[[noreturn]] void fail(const char* action, const std::string& path, int error)
{
    throw FileError(std::string("cannot ") + action + " " + path + ": " +
                    std::generic_category().message(error));
}

/// O_NONBLOCK has no effect on regular files and keeps a FIFO in a file's place from blocking.
constexpr int OPEN_FLAGS = O_CLOEXEC | O_NONBLOCK;

constexpr mode_t NEW_FILE = 0644;
constexpr mode_t NEW_DIRECTORY = 0755;

/// Closes the descriptor when there is no memory for the path.
OpenFile owned(int descriptor, const std::string& path)
{
    Tessara::Keepsafe::Process::Descriptor file(descriptor);
    std::string name = path;
    return {file.release(), std::move(name)};
}

/// Makes a directory whose parent is there. False: there is one.
bool makeDirectory(const std::string& path)
{
    if (::mkdir(path.c_str(), NEW_DIRECTORY) != 0) {
        if (errno != EEXIST) {
            fail("create the directory", path, errno);
        }
        return false;
    }
    if (::chmod(path.c_str(), NEW_DIRECTORY) != 0) { // the umask was in force before
        fail("set the mode of", path, errno);
    }
    return true;
}

/// A new file, or nothing when there is one.
std::optional<OpenFile> newFile(const std::string& path)
{
    OpenFile file = owned(::open(path.c_str(), OPEN_FLAGS | O_RDWR | O_CREAT | O_EXCL, NEW_FILE), path);
    if (file.descriptor() == -1) {
        if (errno == EEXIST) {
            return std::nullopt;
        }
        fail("open", path, errno);
    }
    if (::fchmod(file.descriptor(), NEW_FILE) != 0) {
        fail("set the mode of", path, errno);
    }
    return file;
}

/// Refuses directories, FIFOs and the like.
OpenFile regularFile(int descriptor, const std::string& path)
{
    OpenFile file = owned(descriptor, path);
    struct stat status = {};
    if (descriptor == -1 || ::fstat(descriptor, &status) != 0) {
        fail("open", path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw FileError("cannot open " + path + ": it is not a regular file");
    }
    return file;
}

} // namespace

std::uint64_t fileSize(const OpenFile& file)
{
    struct stat status = {};
    if (::fstat(file.descriptor(), &status) != 0) {
        fail("read the size of", file.path(), errno);
    }
    return static_cast<std::uint64_t>(status.st_size);
}

std::string readAt(const OpenFile& file, std::uint64_t offset, std::size_t length)
{
    std::string bytes(length, '\0');
    std::size_t done = 0;
    while (done < length) {
        const ssize_t count =
            ::pread(file.descriptor(), bytes.data() + done, length - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            fail("read", file.path(), errno);
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

std::optional<std::string> readWhole(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), OPEN_FLAGS | O_RDONLY);
    if (descriptor == -1 && errno == ENOENT) {
        return std::nullopt;
    }
    const OpenFile file = regularFile(descriptor, path);
    return readAt(file, 0, fileSize(file));
}

void PosixFileSystem::createDirectories(const std::string& path)
{
    std::error_code error;
    std::filesystem::path made;
    for (const std::filesystem::path& part : std::filesystem::path(path)) {
        made /= part;
        if (!std::filesystem::exists(made, error) && makeDirectory(made.string())) {
            // What is in a directory is lost with its entry.
            syncDirectory(made.has_parent_path() ? made.parent_path().string() : ".");
        }
    }
    if (!std::filesystem::is_directory(path, error)) {
        fail("create the directory", path, error ? error.value() : ENOTDIR);
    }
}

OpenFile PosixFileSystem::openOrCreate(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), OPEN_FLAGS | O_RDWR);
    if (descriptor == -1 && errno == ENOENT) {
        if (std::optional<OpenFile> file = newFile(path)) {
            return std::move(*file);
        }
        return regularFile(::open(path.c_str(), OPEN_FLAGS | O_RDWR), path); // somebody else has made it
    }
    return regularFile(descriptor, path);
}

void PosixFileSystem::allocate(const OpenFile& file, std::uint64_t size)
{
    int error = EINTR;
    while (error == EINTR) {
        error = size == 0 ? 0 : ::posix_fallocate(file.descriptor(), 0, static_cast<off_t>(size));
    }
    if (error != 0) {
        fail("grow", file.path(), error);
    }
}

void PosixFileSystem::write(const OpenFile& file, std::uint64_t offset, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count =
            ::pwrite(file.descriptor(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            fail("write", file.path(), errno);
        }
        offset += static_cast<std::uint64_t>(count);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void PosixFileSystem::truncate(const OpenFile& file)
{
    if (::ftruncate(file.descriptor(), 0) != 0) {
        fail("truncate", file.path(), errno);
    }
}

void PosixFileSystem::sync(const OpenFile& file)
{
    if (::fdatasync(file.descriptor()) != 0) {
        fail("write to disk", file.path(), errno);
    }
}

void PosixFileSystem::syncDirectory(const std::string& path)
{
    const OpenFile directory = owned(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), path);
    if (directory.descriptor() == -1) {
        fail("open the directory", path, errno);
    }
    // EINVAL: the file system cannot sync directories and gives no promise that could be broken.
    if (::fsync(directory.descriptor()) != 0 && errno != EINVAL) {
        fail("write to disk", path, errno);
    }
}

void PosixFileSystem::restrictLike(const OpenFile& file, const std::string& model)
{
    struct stat wanted = {};
    struct stat status = {};
    if (::stat(model.c_str(), &wanted) != 0) {
        return;
    }
    constexpr auto AS_IT_IS = static_cast<uid_t>(-1);
    if (::fchown(file.descriptor(), wanted.st_uid, wanted.st_gid) != 0 &&
        ::fchown(file.descriptor(), AS_IT_IS, wanted.st_gid) != 0) {
        // Only a privileged process may give files away: then the group must not read what it might not.
    }
    if (::fstat(file.descriptor(), &status) != 0) {
        fail("read the mode of", file.path(), errno);
    }
    mode_t mode = S_IRUSR | S_IWUSR | (wanted.st_mode & (S_IRGRP | S_IROTH));
    if (status.st_gid != wanted.st_gid && (mode & S_IROTH) == 0) {
        mode &= ~mode_t{S_IRGRP};
    }
    if (::fchmod(file.descriptor(), mode) != 0) {
        fail("set the mode of", file.path(), errno);
    }
}

void PosixFileSystem::rename(const std::string& from, const std::string& to)
{
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        fail("rename to", to, errno);
    }
}

} // namespace keepsafe_service
