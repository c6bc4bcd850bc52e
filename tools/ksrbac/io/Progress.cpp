#include "io/Progress.h"

#include <algorithm>
#include <utility>

namespace ksrbac {

namespace {

constexpr std::chrono::milliseconds BEFORE_FIRST{1000};
constexpr std::chrono::milliseconds BETWEEN{100};
constexpr std::size_t BAR_COLUMNS = 20;

/// With commas between thousands.
std::string numberText(std::uint64_t number)
{
    std::string text = std::to_string(number);
    for (std::size_t end = text.size(); end > 3; end -= 3) {
        text.insert(end - 3, 1, ',');
    }
    return text;
}

std::string bar(std::uint64_t done, std::uint64_t total)
{
    const double share = static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    const auto full = static_cast<std::size_t>(share * static_cast<double>(BAR_COLUMNS));
    return '[' + std::string(full, '#') + std::string(BAR_COLUMNS - full, '.') + "] " +
           std::to_string(static_cast<int>(share * 100)) + " %  ";
}

} // namespace

Progress::Progress(Console& console, std::string what, std::string things, std::uint64_t total,
                   Clock::time_point begin)
    : console_(console), what_(std::move(what)), things_(std::move(things)), total_(total),
      isWatched_(console.canShowProgress()), next_(begin + BEFORE_FIRST)
{
}

void Progress::showIfDue()
{
    const Clock::time_point now = Clock::now();
    if (now >= next_) {
        next_ = now + BETWEEN;
        console_.showProgress(text());
    }
}

std::string Progress::text() const
{
    const std::string count = what_ + ' ' + numberText(done_);
    return total_ == 0 ? count + ' ' + things_
                       : bar(done_, total_) + count + " of " + numberText(total_) + ' ' + things_;
}

} // namespace ksrbac
