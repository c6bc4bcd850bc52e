#include "console/ProgressBar.h"

#include <algorithm>

#include <sys/ioctl.h>

namespace keepsafe_service {

namespace {

/// Moves to the start of the line and clears it.
constexpr const char* NEW_LINE_IN_PLACE = "\r\x1b[K";
constexpr std::chrono::milliseconds REDRAW_INTERVAL(100);

/// As much of the text as fits into a line of the terminal: a line that wraps could not be cleared.
std::string fitting(const std::string& text, int descriptor)
{
    winsize size{};
    const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return isKnown ? text.substr(0, static_cast<std::size_t>(size.ws_col) - 1) : text;
}

} // namespace

ProgressBar::ProgressBar(int descriptor, std::chrono::milliseconds silence) : descriptor_(descriptor)
{
    if (::isatty(descriptor) == 1) {
        drawing_.emplace(RepeatedWork::Pauses{silence, REDRAW_INTERVAL}, [this] { draw(); });
    }
}

ProgressBar::~ProgressBar()
{
    drawing_.reset();
    if (!drawn_.empty()) {
        write("");
    }
}

void ProgressBar::show(const std::string& work, std::uint64_t done, std::uint64_t total)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    work_ = work;
    done_ = done;
    total_ = total;
}

std::string ProgressBar::line(const std::string& work, std::uint64_t done, std::uint64_t total)
{
    constexpr std::uint64_t width = 40;
    if (total == 0) {
        return work;
    }
    const double share = static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(width));
    return work + " [" + std::string(filled, '#') + std::string(width - filled, ' ') + "] " +
           std::to_string(static_cast<int>(share * 100)) + " %";
}

void ProgressBar::draw()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string text = line(work_, done_, total_);
    if (text != drawn_) {
        write(fitting(text, descriptor_));
        drawn_ = text;
    }
}

void ProgressBar::write(const std::string& text) const
{
    const std::string bytes = NEW_LINE_IN_PLACE + text;
    [[maybe_unused]] const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
}

} // namespace keepsafe_service
