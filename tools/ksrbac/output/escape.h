#ifndef KSRBAC_OUTPUT_ESCAPE_H
#define KSRBAC_OUTPUT_ESCAPE_H

#include <cstddef>
#include <string>
#include <string_view>

/// \file
/// What may reach a terminal: printable UTF-8 as it is. Control characters, format characters such as those
/// that turn the direction of writing round, and bytes that are not UTF-8 are written as \xHH, so that no
/// text from elsewhere moves the cursor, starts a line or disguises what is shown.

namespace ksrbac {

/// Longest piece of untrusted text that a message shows, in bytes of that text.
inline constexpr std::size_t SHOWN_BYTES = 200;

/// Whether the text may be shown as it is.
[[nodiscard]] bool isPrintable(std::string_view text) noexcept;

/// The text with every byte that may not be shown as \xHH. Applied to what it returned, it changes nothing.
std::string printable(std::string_view text);

/// Untrusted text as a part of a message or of a table: printable, and a backslash becomes \\, so that it can
/// be told from an escape. What is past `limit` bytes is left out, marked by "...".
std::string escapeForMessage(std::string_view text, std::size_t limit = SHOWN_BYTES);

} // namespace ksrbac

#endif
