#include "io/LineReader.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "io/open_input.h"

namespace ksrbac {

namespace {

constexpr std::size_t BUFFER_BYTES = std::size_t{64} * 1024;

bool hasInput(int descriptor)
{
    pollfd request{descriptor, POLLIN, 0};
    return poll(&request, 1, 0) > 0;
}

} // namespace

LineReader::LineReader(const std::string& path, std::function<void()> beforeWaiting)
    : name_(inputName(path)), file_(openInput(path)), beforeWaiting_(std::move(beforeWaiting)),
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
