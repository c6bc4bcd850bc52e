#include "files/new_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "errors/InputError.h"
#include "files/FileError.h"
#include "files/PosixFileSystem.h"

namespace keepsafe_service {

namespace {

[[noreturn]] void fail(const char* action, const std::string& path)
{
    throw FileError(std::string("cannot ") + action + " " + path + ": " +
                    std::generic_category().message(errno));
}

/// A file under its own name, which goes away with this object.
class TemporaryFile {
public:
    TemporaryFile(const std::string& beside, mode_t mode) : path_(beside + ".XXXXXX")
    {
        // mkostemp opens with mode 0600.
        const int descriptor = ::mkostemp(path_.data(), O_CLOEXEC);
        if (descriptor == -1) {
            fail("create", path_);
        }
        file_.emplace(descriptor, path_);
        if (::fchmod(descriptor, mode) != 0) {
            const int error = errno;
            ::unlink(path_.c_str());
            errno = error;
            fail("set the mode of", path_);
        }
    }
    ~TemporaryFile() { ::unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const OpenFile& file() const { return *file_; }
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
    std::optional<OpenFile> file_;
};

} // namespace

void ensureFolder(const std::string& path, mode_t mode)
{
    PosixFileSystem fileSystem;
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return;
    }
    fileSystem.createDirectories(std::filesystem::path(path).parent_path().string());
    if (::mkdir(path.c_str(), mode) == 0) {
        if (::chmod(path.c_str(), mode) != 0) { // the umask was in force before
            fail("set the mode of", path);
        }
    } else if (errno != EEXIST) {
        fail("create the directory", path);
    }
    // Refuses what is there and is not a directory.
    fileSystem.createDirectories(path);
}

bool createFile(const std::string& path, mode_t mode, std::string_view content)
{
    if (::access(path.c_str(), F_OK) == 0) {
        return false;
    }
    PosixFileSystem fileSystem;
    const TemporaryFile temporary(path, mode);
    fileSystem.write(temporary.file(), 0, content);
    fileSystem.sync(temporary.file());
    // Unlike a rename, a link never replaces what another process has put there meanwhile.
    if (::link(temporary.path().c_str(), path.c_str()) != 0) {
        if (errno == EEXIST) {
            return false;
        }
        fail("create", path);
    }
    fileSystem.syncDirectory(std::filesystem::path(path).parent_path().string());
    return true;
}

void requireOwnerOnly(const std::string& path)
{
    struct stat status = {};
    constexpr mode_t others = 077;
    if (::stat(path.c_str(), &status) != 0) {
        fail("read the mode of", path);
    }
    if ((status.st_mode & others) != 0) {
        throw InputError(path + ": others than its owner may read or write this private key; take that "
                                "from them (chmod 600)");
    }
}

} // namespace keepsafe_service
