#include "console/ProgressBar.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace keepsafe_sandbox {

namespace {

/// Moves to the start of the line and clears it.
constexpr const char* NEW_LINE_IN_PLACE = "\r\x1b[K";
constexpr std::chrono::milliseconds REDRAW_INTERVAL(100);

} // namespace

ProgressBar::ProgressBar() : isTerminal_(::isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar()
{
    if (!work_.empty()) {
        write("");
    }
}

void ProgressBar::begin(const std::string& work)
{
    work_ = work;
    shown_ = std::chrono::steady_clock::now();
    write(work);
}

void ProgressBar::show(std::uint64_t done, std::uint64_t total)
{
    const auto now = std::chrono::steady_clock::now();
    if (now - shown_ < REDRAW_INTERVAL) {
        return;
    }
    shown_ = now;
    write(line(work_, done, total));
}

std::string ProgressBar::line(const std::string& work, std::uint64_t done, std::uint64_t total)
{
    constexpr std::uint64_t width = 40;
    const double share =
        total == 0 ? 1.0 : static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(width));
    return work + " [" + std::string(filled, '#') + std::string(width - filled, ' ') + "] " +
           std::to_string(static_cast<int>(share * 100)) + " %";
}

void ProgressBar::write(const std::string& text) const
{
    if (isTerminal_) {
        static_cast<void>(std::fputs((NEW_LINE_IN_PLACE + text).c_str(), stderr));
        static_cast<void>(std::fflush(stderr));
    }
}

} // namespace keepsafe_sandbox
