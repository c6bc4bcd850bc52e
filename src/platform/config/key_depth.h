#ifndef KEEPSAFE_SRC_PLATFORM_CONFIG_KEY_DEPTH_H
#define KEEPSAFE_SRC_PLATFORM_CONFIG_KEY_DEPTH_H

#include <cstddef>
#include <string_view>

namespace Tessara::Keepsafe::Platform {

/// A place in a text; line and column start at 1.
struct TextPlace {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// The most parts that a dotted key may have.
constexpr std::size_t MOST_KEY_PARTS = 16;

/// Whether a TOML text has a dotted key, `a.b.c`, of too many parts, and where. The parser makes a table in a
/// table for each part, without limit, and destroys them by calling itself.
bool hasDeepKey(std::string_view text, TextPlace& place);

} // namespace Tessara::Keepsafe::Platform

#endif
