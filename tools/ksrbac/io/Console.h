#ifndef KSRBAC_IO_CONSOLE_H
#define KSRBAC_IO_CONSOLE_H

#include <string>
#include <string_view>

#include "io/ByteSink.h"

namespace ksrbac {

/// The program's two outputs. Results are buffered; what is said on standard error appears after the results
/// that came before it.
class Console {
public:
    /// Both sinks must outlive the console.
    Console(ByteSink& results, ByteSink& messages) noexcept : results_(results), messages_(messages) {}

    /// Adds to standard output. Throws `OutputError` when the buffer is full and cannot be written.
    void print(std::string_view text);
    /// Writes out what is buffered. Throws `OutputError`.
    void flush();

    /// Says `ksrbac: MESSAGE` on standard error.
    void complain(std::string_view message);
    /// Says a whole line on standard error as it is.
    void complainLine(std::string_view line);

private:
    ByteSink& results_;
    ByteSink& messages_;
    std::string buffer_;
};

} // namespace ksrbac

#endif
