#include "io/LineReader.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "exit_status.h"

namespace ksrbac {

namespace {

constexpr std::size_t BUFFER_BYTES = std::size_t{64} * 1024;

[[noreturn]] void throwUnreadable(const std::string& name, int error)
{
    throw InputError("cannot read " + name + ": " + std::generic_category().message(error));
}

FileDescriptor openInput(const std::string& path)
{
    // A copy of standard input, so that every descriptor here is owned.
    const int descriptor = path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                       : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor == -1) {
        throwUnreadable(path == "-" ? "<stdin>" : path, errno);
    }
    return FileDescriptor(descriptor);
}

bool hasInput(int descriptor)
{
    pollfd request{descriptor, POLLIN, 0};
    return poll(&request, 1, 0) > 0;
}

} // namespace

LineReader::LineReader(const std::string& path, std::function<void()> beforeWaiting)
    : name_(path == "-" ? "<stdin>" : path), file_(openInput(path)), beforeWaiting_(std::move(beforeWaiting)),
      buffer_(BUFFER_BYTES, '\0')
{
}

bool LineReader::fill()
{
    position_ = 0;
    end_ = 0;
    while (true) {
        if (!hasInput(file_.get())) {
            beforeWaiting_();
        }
        const ssize_t got = read(file_.get(), buffer_.data(), buffer_.size());
        if (got >= 0) {
            end_ = static_cast<std::size_t>(got);
            return got > 0;
        }
        if (errno == EAGAIN) {
            pollfd request{file_.get(), POLLIN, 0};
            poll(&request, 1, -1);
        } else if (errno != EINTR) {
            throwUnreadable(name_, errno);
        }
    }
}

bool LineReader::next(std::string& line)
{
    line.clear();
    bool started = false;
    while (position_ != end_ || fill()) {
        if (!started) {
            started = true;
            ++lineNumber_;
        }
        const char* begin = buffer_.data() + position_;
        const void* found = std::memchr(begin, '\n', end_ - position_);
        if (found != nullptr) {
            const auto length = static_cast<std::size_t>(static_cast<const char*>(found) - begin);
            line.append(begin, length);
            position_ += length + 1;
            return true;
        }
        line.append(begin, end_ - position_);
        position_ = end_;
    }
    return started;
}

} // namespace ksrbac
