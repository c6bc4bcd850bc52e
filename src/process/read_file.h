#ifndef KEEPSAFE_SRC_PROCESS_READ_FILE_H
#define KEEPSAFE_SRC_PROCESS_READ_FILE_H

#include <array>
#include <cerrno>
#include <cstddef>
#include <limits>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"
#include "file_status.h"

/// \file
/// Reading of files. Failures are values of `errno`, `NOT_REGULAR`, or `WORLD_WRITABLE`.

namespace Tessara::Keepsafe::Process {

constexpr int NOT_REGULAR = -1;
constexpr int WORLD_WRITABLE = -2;

inline std::string failureText(int failure)
{
    if (failure == WORLD_WRITABLE) {
        return "writable by everybody";
    }
    return failure == NOT_REGULAR ? "not a regular file" : std::generic_category().message(failure);
}

namespace detail {

/// `refuseMode(mode_t)` returns why a regular file of that mode is refused, or 0.
template <typename RefuseMode>
[[nodiscard]] Descriptor openUnlessRefused(const std::string& path, int& failure,
                                           const RefuseMode& refuseMode) noexcept
{
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file.isOpen() || fileStatus(file.get(), status) != 0) {
        failure = errno;
        return Descriptor();
    }
    int refusal = 0;
    if (S_ISREG(status.st_mode)) {
        refusal = refuseMode(status.st_mode);
    } else {
        refusal = S_ISDIR(status.st_mode) ? EISDIR : NOT_REGULAR;
    }
    if (refusal != 0) {
        failure = refusal;
        return Descriptor();
    }
    return file;
}

} // namespace detail

/// Opens a regular file for reading. Anything else is refused, without waiting for the writer of a FIFO. On
/// failure returns no descriptor and sets `failure`: EISDIR for a folder.
[[nodiscard]] inline Descriptor openRegularFile(const std::string& path, int& failure) noexcept
{
    return detail::openUnlessRefused(path, failure, [](mode_t /*mode*/) { return 0; });
}

/// The same for a file that decides whom the process trusts: one that everybody may change is refused.
[[nodiscard]] inline Descriptor openTrustedFile(const std::string& path, int& failure) noexcept
{
    return detail::openUnlessRefused(path, failure,
                                     [](mode_t mode) { return (mode & S_IWOTH) != 0 ? WORLD_WRITABLE : 0; });
}

/// Appends the rest of the file. Returns 0, or the failure: EFBIG when `text` grows beyond the limit.
[[nodiscard]] inline int readAll(const Descriptor& file, std::string& text,
                                 std::size_t limit = std::numeric_limits<std::size_t>::max())
{
    std::array<char, 4096> block;
    for (;;) {
        const ssize_t size = ::read(file.get(), block.data(), block.size());
        if (size == 0) {
            return 0;
        }
        if (size < 0 && errno != EINTR) {
            return errno;
        }
        if (size > 0) {
            text.append(block.data(), static_cast<std::size_t>(size));
        }
        if (text.size() > limit) {
            return EFBIG;
        }
    }
}

} // namespace Tessara::Keepsafe::Process

#endif
