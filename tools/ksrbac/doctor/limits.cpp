#include "doctor/limits.h"

#include <cerrno>
#include <string>

#include <sys/resource.h>
#include <sys/statvfs.h>

#include <keepsafe/platform/config/installation.h>

#include "doctor/Examination.h"
#include "read_file.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;

namespace {

constexpr std::uint64_t MEBIBYTE = std::uint64_t{1} << 20U;
constexpr std::uint64_t LEAST_FREE = 64 * MEBIBYTE;
constexpr std::uint64_t LEAST_SHARE = 100;
/// A process has its connections to servers and databases, and the files of its caches, at the same time.
constexpr rlim_t LEAST_FILES = 256;

std::string mebibytes(std::uint64_t bytes) { return std::to_string(bytes / MEBIBYTE) + " MiB"; }

} // namespace

bool isSpaceLow(std::uint64_t freeBytes, std::uint64_t allBytes) noexcept
{
    return freeBytes < LEAST_FREE || freeBytes < allBytes / LEAST_SHARE;
}

void checkSpace(Examination& examination)
{
    const char* const what = "disk space";
    const std::string folder = Tessara::Keepsafe::Platform::installationRoot() + "/wmc/webserver/temp";
    struct statvfs status {};
    if (::statvfs(folder.c_str(), &status) != 0) {
        examination.skip(what, folder + ": " + Process::failureText(errno));
        return;
    }
    const std::uint64_t block = status.f_frsize;
    const std::uint64_t freeBytes = block * status.f_bavail;
    const std::uint64_t allBytes = block * status.f_blocks;
    const std::string text = mebibytes(freeBytes) + " of " + mebibytes(allBytes) + " free for " + folder;
    if (isSpaceLow(freeBytes, allBytes)) {
        examination.warn(what, text, "make room: a cache that cannot be written stays as it was");
    } else {
        examination.ok(what, text);
    }
}

void checkDescriptors(Examination& examination)
{
    const char* const what = "open files";
    struct rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        examination.leaveOpen(what, Process::failureText(errno), "see 'ulimit -n'");
        return;
    }
    const bool isBounded = limit.rlim_cur != RLIM_INFINITY;
    const std::string text = "a process started like this one may have " +
                             (isBounded ? std::to_string(limit.rlim_cur) + " files open"
                                        : std::string("any number of files open"));
    if (isBounded && limit.rlim_cur < LEAST_FILES) {
        examination.warn(what, text, "raise it to 256 or more: 'ulimit -n', or LimitNOFILE of the unit");
    } else {
        examination.ok(what, text);
    }
}

} // namespace ksrbac
