#include "io/NewFile.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

using Tessara::Keepsafe::Process::Descriptor;

namespace {

constexpr mode_t EVERYBODY_READS = 0644;

[[noreturn]] void refuse(const std::string& path)
{
    const int error = errno;
    throw InputError("cannot create " + escapeForMessage(path) + ": " +
                     std::generic_category().message(error));
}

[[noreturn]] void fail() { throw OutputError(std::generic_category().message(errno)); }

/// Whether there is something that must not be replaced by a file.
bool isStream(const std::string& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

} // namespace

NewFile::NewFile(std::string path) : path_(std::move(path))
{
    if (isStream(path_)) {
        file_ = Descriptor(::open(path_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
        if (!file_.isOpen()) {
            refuse(path_);
        }
        return;
    }
    // Beside the file, so that renaming stays within one file system.
    temporary_ = path_ + ".XXXXXX";
    file_ = Descriptor(::mkostemp(temporary_.data(), O_CLOEXEC));
    if (!file_.isOpen()) {
        temporary_.clear();
        refuse(path_);
    }
}

NewFile::~NewFile()
{
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
    }
}

void NewFile::write(std::string_view bytes) { DescriptorSink(file_.get()).write(bytes); }

void NewFile::publish()
{
    if (temporary_.empty()) {
        return;
    }
    const bool isPublished = ::fchmod(file_.get(), EVERYBODY_READS) == 0 && ::fsync(file_.get()) == 0 &&
                             std::rename(temporary_.c_str(), path_.c_str()) == 0;
    if (!isPublished) {
        fail();
    }
    temporary_.clear();
}

} // namespace ksrbac
