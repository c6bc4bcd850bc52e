#ifndef KEEPSAFE_SRC_TEXT_DECIMAL_H
#define KEEPSAFE_SRC_TEXT_DECIMAL_H

#include <charconv>
#include <string_view>
#include <system_error>

namespace Tessara::Keepsafe::Text {

/// Reads a whole text as an integer: digits, behind a minus for types with a sign. `number` keeps its value
/// when the text is something else (`invalid_argument`) or too large for the type (`result_out_of_range`).
template <typename Number>
[[nodiscard]] std::errc parseDecimal(std::string_view text, Number& number) noexcept
{
    Number parsed{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, parsed);
    if (stop != end) {
        return std::errc::invalid_argument;
    }
    if (error == std::errc()) {
        number = parsed;
    }
    return error;
}

} // namespace Tessara::Keepsafe::Text

#endif
