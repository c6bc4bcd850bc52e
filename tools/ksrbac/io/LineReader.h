#ifndef KSRBAC_IO_LINEREADER_H
#define KSRBAC_IO_LINEREADER_H

#include <cstddef>
#include <functional>
#include <string>

#include "io/input.h"

namespace ksrbac {

/// Reads a file or standard input line by line with a fixed buffer: memory is that of the longest line,
/// however many there are; one of more than 64 MiB is refused. A line ends at a line feed or at the end of
/// the input; nothing else is taken off it.
class LineReader {
public:
    /// Opens the file, or takes standard input for "-". Throws `InputError`. `beforeWaiting` is called before
    /// the reader waits for input that is not there yet.
    LineReader(const std::string& path, std::function<void()> beforeWaiting);

    /// The next line without its line feed; false at the end of the input. Throws `InputError`.
    [[nodiscard]] bool next(std::string& line);

    /// Number of the line that `next` gave last, counted from 1.
    [[nodiscard]] std::size_t lineNumber() const noexcept { return lineNumber_; }
    /// The input's name for messages: the path, or `<stdin>`.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

private:
    [[nodiscard]] bool fill();

    std::string name_;
    Descriptor file_;
    std::function<void()> beforeWaiting_;
    std::string buffer_;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
    std::size_t lineNumber_ = 0;
};

} // namespace ksrbac

#endif
