#ifndef KSRBAC_IO_CONSOLE_H
#define KSRBAC_IO_CONSOLE_H

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "exit_status.h"
#include "io/ByteSink.h"
#include "io/Terminal.h"

namespace ksrbac {

/// The program's two outputs. Results are buffered; messages on standard error appear after the results
/// printed before them. A message is one line: what is not printable in it is escaped. Between messages, a
/// terminal shows the progress of long work. One thread prints; what it does may be shown by another.
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
    ~Console() { hideActivity(); }

    /// Nothing is coloured before this is called.
    void chooseColours(ColourChoice choice) noexcept;
    /// A text for `print`, coloured if results are.
    [[nodiscard]] std::string paint(const std::string& text, Colour colour) const;
    /// Columns for lines of text.
    [[nodiscard]] std::size_t width() const noexcept { return terminal_.width; }

    /// From now on messages are JSON objects.
    void useJson() noexcept { json_ = true; }

    /// Adds to standard output. Throws `OutputError` when the buffer is full and cannot be written.
    void print(std::string_view text);
    /// Writes out what is buffered. Throws `OutputError`.
    void flush();

    /// Prints `ksrbac: note: MESSAGE` on standard error, or `{"note":...}`: what the user should know about
    /// the answer.
    void note(std::string_view message);
    /// Prints `ksrbac: MESSAGE` on standard error, or `{"warning":...}`: the command goes on.
    void complain(std::string_view message);
    /// The same without the program's name.
    void complainLine(std::string_view line);
    /// Prints why the command ends here, with its hint, or `{"error":{...}}`.
    /// `command` is what failed, if the failure does not say.
    void fail(const Failure& failure, const std::string& command, ExitStatus exitStatus);

    /// Whether somebody is looking who may want to know how far the work is.
    [[nodiscard]] bool canShowProgress() const noexcept { return terminal_.canMove; }
    /// Puts the text on the last line of the terminal in place of what was there. What is printed next takes
    /// it away.
    void showProgress(const std::string& text) noexcept;
    /// Takes the progress away and leaves the line to the activity again.
    void hideProgress() noexcept;

    /// What the command does now: "doctor: database".
    void nameActivity(const std::string& activity);
    /// Shows what the command does, and for how long, unless there is progress to be seen. Any thread.
    void showActivity(std::chrono::seconds elapsed) noexcept;
    /// Clears the line. Any thread.
    void hideActivity() noexcept;

private:
    void say(const char* kind, std::string_view message, const std::string& begin);
    [[nodiscard]] std::string programName(Colour colour) const;
    void writeLine(const std::string& line);
    void writeMessage(const std::string& text) noexcept;
    void writeResults(std::string_view bytes);
    void showLine(const std::string& text) noexcept;
    void clearLine() noexcept;

    ByteSink& results_;
    ByteSink& messages_;
    const Terminal terminal_;
    bool areResultsColoured_ = false;
    bool areMessagesColoured_ = false;
    std::string buffer_;
    bool json_ = false;

    std::mutex mutex_; ///< guards what follows, and what the terminal shows
    bool isLineShown_ = false;
    bool isWithinResult_ = false; ///< the results on the terminal end within a line
    bool hasProgress_ = false;    ///< the line belongs to a `Progress`
    std::string activity_;
};

} // namespace ksrbac

#endif
