#ifndef KSRBAC_IO_CONSOLE_H
#define KSRBAC_IO_CONSOLE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "io/ByteSink.h"
#include "io/Terminal.h"

namespace ksrbac {

/// The program's two outputs. Results are buffered; messages on standard error appear after the results
/// printed before them. Between messages, a terminal shows the progress of long work.
class Console {
public:
    /// Both sinks must outlive the console. Without a terminal there are no colours and no progress.
    Console(ByteSink& results, ByteSink& messages, const Terminal& terminal = {}) noexcept
        : results_(results), messages_(messages), terminal_(terminal)
    {
    }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    /// Takes the progress off the terminal.
    ~Console() { hideProgress(); }

    /// Nothing is coloured before this is called.
    void chooseColours(ColourChoice choice) noexcept;
    /// A text for `print`, coloured if results are.
    [[nodiscard]] std::string paint(const std::string& text, Colour colour) const;
    /// Columns for lines of text.
    [[nodiscard]] std::size_t width() const noexcept { return terminal_.width; }

    /// Adds to standard output. Throws `OutputError` when the buffer is full and cannot be written.
    void print(std::string_view text);
    /// Writes out what is buffered. Throws `OutputError`.
    void flush();

    /// Prints `ksrbac: MESSAGE` on standard error.
    void complain(std::string_view message);
    /// Prints a whole line on standard error unchanged.
    void complainLine(std::string_view line);

    /// Whether somebody is looking who may want to know how far the work is.
    [[nodiscard]] bool canShowProgress() const noexcept { return terminal_.canMove; }
    /// Puts the text on the last line of the terminal in place of what was there. What is printed next takes
    /// it away.
    void showProgress(const std::string& text) noexcept;
    void hideProgress() noexcept;

private:
    void writeMessage(const std::string& text) noexcept;

    ByteSink& results_;
    ByteSink& messages_;
    const Terminal terminal_;
    bool areResultsColoured_ = false;
    bool areMessagesColoured_ = false;
    bool isProgressShown_ = false;
    std::string buffer_;
};

} // namespace ksrbac

#endif
