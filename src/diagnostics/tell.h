#ifndef KEEPSAFE_DIAGNOSTICS_TELL_H
#define KEEPSAFE_DIAGNOSTICS_TELL_H

#include <cstddef>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include <keepsafe/platform/log/logmsg.h>

#include "RepeatedLines.h"

namespace Tessara::Keepsafe::diagnostics {

/// A line of the log, or what a function of its own prints.
struct Line {
    int level = 0;
    const char* tag = nullptr;
    std::string text;
    void (*print)(const std::string& text) = nullptr; ///< null: the line is logged

    void write() const
    {
        if (print != nullptr) {
            print(text);
        } else {
            logmsgf(level, tag, "%s", text.c_str());
        }
    }
};

/// Whether the line is to be written. It then ends with the number of those that were held back, if any were.
inline bool admit(Process::RepeatedLines& repeated, std::string& text) noexcept
{
    const auto heldBack = repeated.admit(text);
    if (heldBack.value_or(0) != 0) {
        try {
            text += " (" + std::to_string(*heldBack) + " more like this)";
        } catch (const std::exception&) {
            return true; // without the number
        }
    }
    return heldBack.has_value();
}

/// While an object of this class lives, it takes the lines that its thread would write, and writes them at
/// its end. Declared before a lock is taken, it keeps a log that is stuck from keeping others out.
///
/// A thread may have several, which end in any order: lines are written when none is left. An object ends in
/// the thread that made it.
class TellAfterwards {
public:
    /// `repeated`: holds back equal lines. It must outlive this object.
    explicit TellAfterwards(Process::RepeatedLines* repeated = nullptr) noexcept
        : outer_(std::exchange(current, this)), repeated_(repeated)
    {
    }
    ~TellAfterwards()
    {
        TellAfterwards** place = &current;
        while (*place != this) {
            place = &(*place)->outer_;
        }
        *place = outer_;
        for (Line& line : lines_) {
            write(std::move(line));
        }
    }
    TellAfterwards(const TellAfterwards&) = delete;
    TellAfterwards& operator=(const TellAfterwards&) = delete;

    /// Writes the line, now or later, unless it is held back.
    static void tell(Line line) noexcept
    {
        if (current == nullptr || current->repeated_ == nullptr || admit(*current->repeated_, line.text)) {
            write(std::move(line));
        }
    }

    /// Writes the line, now or later.
    static void write(Line line) noexcept
    {
        try {
            if (current == nullptr) {
                line.write();
            } else {
                current->lines_.push_back(std::move(line));
            }
        } catch (const std::exception&) {
            // The line is lost; what failed is still thrown.
        }
    }

private:
    inline static thread_local TellAfterwards* current = nullptr;

    TellAfterwards* outer_;
    Process::RepeatedLines* repeated_;
    std::vector<Line> lines_;
};

inline void tell(int level, const char* tag, std::string text) noexcept
{
    TellAfterwards::tell({level, tag, std::move(text), nullptr});
}

} // namespace Tessara::Keepsafe::diagnostics

#endif
