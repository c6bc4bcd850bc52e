#include "io/LineReader.h"

#include <cstring>
#include <utility>

#include <poll.h>

#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

namespace {

constexpr std::size_t BLOCK_BYTES = std::size_t{64} * 1024;
/// Of a line; what comes through a pipe need not have an end.
constexpr std::size_t MOST_MEBIBYTES = 64;

bool hasInput(int descriptor)
{
    pollfd request{descriptor, POLLIN, 0};
    return poll(&request, 1, 0) > 0;
}

} // namespace

LineReader::LineReader(const std::string& path, std::function<void()> beforeWaiting)
    : name_(inputName(path)), file_(openInput(path)), beforeWaiting_(std::move(beforeWaiting)),
      buffer_(BLOCK_BYTES, '\0')
{
}

bool LineReader::fill()
{
    if (!hasInput(file_.get())) {
        beforeWaiting_();
    }
    position_ = 0;
    end_ = 0; // also when reading throws
    end_ = readSome(file_, name_, buffer_.data(), buffer_.size());
    return end_ > 0;
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
        if (line.size() > MOST_MEBIBYTES * 1024 * 1024) {
            throw InputError(escapeForMessage(name_) + ':' + std::to_string(lineNumber_) + ": longer than " +
                             std::to_string(MOST_MEBIBYTES) + " MiB");
        }
    }
    return started;
}

} // namespace ksrbac
