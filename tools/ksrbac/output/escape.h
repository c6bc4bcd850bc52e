#ifndef KSRBAC_OUTPUT_ESCAPE_H
#define KSRBAC_OUTPUT_ESCAPE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ksrbac {

/// Longest piece of untrusted text that a message shows, in bytes of that text.
inline constexpr std::size_t SHOWN_BYTES = 200;

/// Untrusted text made safe for a message: every byte except printable ASCII becomes \xHH and a backslash \\,
/// so that it stays on its line and cannot steer a terminal. What is past `limit` bytes is left out, marked
/// by "...".
std::string escapeForMessage(std::string_view text, std::size_t limit = SHOWN_BYTES);

} // namespace ksrbac

#endif
