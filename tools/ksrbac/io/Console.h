#ifndef KSRBAC_IO_CONSOLE_H
#define KSRBAC_IO_CONSOLE_H

#include <string>
#include <string_view>

#include "io/ByteSink.h"

namespace ksrbac {

/// The program's two outputs. Results are buffered; messages on standard error appear after the results
/// printed before them.
class Console {
public:
    /// Both sinks must outlive the console.
    Console(ByteSink& results, ByteSink& messages) noexcept : results_(results), messages_(messages) {}

    /// Adds to standard output. Throws `OutputError` when the buffer is full and cannot be written.
    void print(std::string_view text);
    /// Writes out what is buffered. Throws `OutputError`.
    void flush();

    /// Prints `ksrbac: MESSAGE` on standard error.
    void complain(std::string_view message);
    /// Prints a whole line on standard error unchanged.
    void complainLine(std::string_view line);

private:
    ByteSink& results_;
    ByteSink& messages_;
    std::string buffer_;
};

} // namespace ksrbac

#endif
