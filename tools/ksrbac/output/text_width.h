#ifndef KSRBAC_OUTPUT_TEXT_WIDTH_H
#define KSRBAC_OUTPUT_TEXT_WIDTH_H

#include <cstddef>
#include <string_view>

namespace ksrbac {

/// How many columns of a terminal a printable text takes: none for a combining mark, two for a character that
/// is wide, such as those of East Asian scripts.
[[nodiscard]] std::size_t columnsOf(std::string_view text) noexcept;

} // namespace ksrbac

#endif
