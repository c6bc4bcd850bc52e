#include "io/ByteSink.h"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace ksrbac {

namespace {

/// Waits for a descriptor that is non-blocking, such as a terminal shared with another program.
bool waitUntilWritable(int descriptor)
{
    pollfd request{descriptor, POLLOUT, 0};
    return poll(&request, 1, -1) >= 0 || errno == EINTR;
}

} // namespace

void DescriptorSink::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        const int error = errno;
        if (error == EPIPE) {
            throw OutputClosed("nobody reads standard output");
        }
        const bool tryAgain = error == EINTR || (error == EAGAIN && waitUntilWritable(descriptor_));
        if (!tryAgain) {
            throw OutputError(std::generic_category().message(error));
        }
    }
}

} // namespace ksrbac
