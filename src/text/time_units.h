#ifndef KEEPSAFE_SRC_TEXT_TIME_UNITS_H
#define KEEPSAFE_SRC_TEXT_TIME_UNITS_H

#include <cstdint>

namespace Tessara::Keepsafe::Text {

/// Seconds of s, m, h, d or w, the unit of a duration; 0 for another character.
[[nodiscard]] constexpr std::int64_t secondsOf(char unit) noexcept
{
    switch (unit) {
    case 's':
        return 1;
    case 'm':
        return 60;
    case 'h':
        return 3600;
    case 'd':
        return 86400;
    case 'w':
        return 604800;
    default:
        return 0;
    }
}

} // namespace Tessara::Keepsafe::Text

#endif
