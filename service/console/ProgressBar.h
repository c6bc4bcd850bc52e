#ifndef KEEPSAFE_SERVICE_CONSOLE_PROGRESSBAR_H
#define KEEPSAFE_SERVICE_CONSOLE_PROGRESSBAR_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include <unistd.h>

#include "threads/RepeatedWork.h"

namespace keepsafe_service {

/// A line on a terminal that shows the progress of work that lasts over a second; nothing anywhere else. A
/// thread draws it, so that work that tells nothing meanwhile is named, too. The line is cleared at the end.
class ProgressBar {
public:
    static constexpr std::chrono::milliseconds SILENCE{1000};

    /// On standard error.
    ProgressBar() : ProgressBar(STDERR_FILENO, SILENCE) {}
    /// On another descriptor, which outlives the object, after another time.
    ProgressBar(int descriptor, std::chrono::milliseconds silence);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Takes what is done, as `WorkProgress`.
    void show(const std::string& work, std::uint64_t done = 0, std::uint64_t total = 0);

    /// The line's text: the work, a bar of 40 characters, per cent; the work alone for a `total` of 0.
    static std::string line(const std::string& work, std::uint64_t done, std::uint64_t total);

private:
    void draw();
    void write(const std::string& text) const;

    const int descriptor_;
    std::mutex mutex_;
    std::string work_;
    std::uint64_t done_ = 0;
    std::uint64_t total_ = 0;
    std::string drawn_;
    std::optional<RepeatedWork> drawing_; ///< last: it uses the others
};

} // namespace keepsafe_service

#endif
