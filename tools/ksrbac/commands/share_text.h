#ifndef KSRBAC_COMMANDS_SHARE_TEXT_H
#define KSRBAC_COMMANDS_SHARE_TEXT_H

#include <cstdio>
#include <string>

namespace ksrbac {

/// A share as percent with one digit after the point: 0.125 is "12.5 %".
inline std::string shareText(double share)
{
    constexpr double percent = 100.0;
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.1f %%", share * percent);
    return text;
}

} // namespace ksrbac

#endif
