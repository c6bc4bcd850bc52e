#ifndef KSRBAC_IO_PROGRESS_H
#define KSRBAC_IO_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "io/Console.h"

namespace ksrbac {

/// Tells somebody at a terminal how far long work is: a line on standard error, from one second after the
/// beginning to the end. Does nothing without a terminal there.
class Progress {
public:
    using Clock = std::chrono::steady_clock;

    /// `what` is done, with things called `things`: "checked", "objects". `total` is how many there are; 0
    /// when nobody knows. The console must outlive it.
    Progress(Console& console, std::string what, std::string things, std::uint64_t total = 0)
        : Progress(console, std::move(what), std::move(things), total, Clock::now())
    {
    }
    /// Work that began at `begin`.
    Progress(Console& console, std::string what, std::string things, std::uint64_t total,
             Clock::time_point begin);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { console_.hideProgress(); }

    /// Whether anybody is looking.
    [[nodiscard]] bool isWatched() const noexcept { return isWatched_; }
    void setTotal(std::uint64_t total) noexcept { total_ = total; }
    /// So many more are done.
    void add(std::uint64_t count = 1)
    {
        done_ += count;
        if (isWatched_) {
            showIfDue();
        }
    }

private:
    void showIfDue();
    [[nodiscard]] std::string text() const;

    Console& console_;
    const std::string what_;
    const std::string things_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    const bool isWatched_;
    Clock::time_point next_; ///< when it is shown again
};

} // namespace ksrbac

#endif
