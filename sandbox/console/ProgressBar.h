#ifndef KEEPSAFE_SANDBOX_CONSOLE_PROGRESSBAR_H
#define KEEPSAFE_SANDBOX_CONSOLE_PROGRESSBAR_H

#include <chrono>
#include <cstdint>
#include <string>

namespace keepsafe_sandbox {

/// A line on standard error that shows the progress of the work; nothing if standard error is not a terminal.
/// The line is cleared at the end.
class ProgressBar {
public:
    ProgressBar();
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Names the next work.
    void begin(const std::string& work);
    void show(std::uint64_t done, std::uint64_t total);

    /// The line's text: the work, a bar of 40 characters, per cent.
    static std::string line(const std::string& work, std::uint64_t done, std::uint64_t total);

private:
    void write(const std::string& text) const;

    bool isTerminal_;
    std::string work_;
    std::chrono::steady_clock::time_point shown_;
};

} // namespace keepsafe_sandbox

#endif
