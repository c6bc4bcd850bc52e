#ifndef KEEPSAFE_CACHE_WALK_CANONICALTEXT_H
#define KEEPSAFE_CACHE_WALK_CANONICALTEXT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <emmintrin.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// Follows a text byte by byte and tells whether it can be the beginning of a name's text form. Only such
/// texts are asked for: what a trie holds beside them is met by no check.
///
/// All bytes of text forms are ASCII, so the signed order of the segments is the order of the bytes.
class CanonicalText {
public:
    /// Takes one byte more. False when no text form continues like this; the state is then spent.
    [[nodiscard]] bool add(unsigned char byte) noexcept
    {
        const Kind kind = KINDS[byte];
        if (__builtin_expect(state_ == PLAIN, 1)) {
            state_ = kind == PERCENT ? AFTER_PERCENT : PLAIN;
            return kind != NEVER;
        }
        const int digit = digitOf(byte);
        if (digit < 0) {
            return false;
        }
        if (state_ == AFTER_PERCENT) {
            state_ = static_cast<std::uint8_t>(AFTER_DIGIT + digit);
            return true;
        }
        const auto escaped = static_cast<unsigned char>((state_ - AFTER_DIGIT) * 16 + digit);
        state_ = PLAIN;
        return !isUnescaped(escaped);
    }

private:
    enum Kind : std::uint8_t { NEVER, LITERAL, PERCENT };
    static constexpr std::uint8_t PLAIN = 0;
    static constexpr std::uint8_t AFTER_PERCENT = 1;
    static constexpr std::uint8_t AFTER_DIGIT = 16; ///< plus the digit

    [[nodiscard]] static constexpr bool isAlphanumeric(std::size_t byte) noexcept
    {
        return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    }
    /// Whether a byte of a component is something else than an escape in the text form.
    [[nodiscard]] static constexpr bool isUnescaped(std::size_t byte) noexcept
    {
        return isAlphanumeric(byte) || byte == '-' || byte == '*' || byte == '_' || byte == '.' ||
               byte == ' ';
    }
    [[nodiscard]] static constexpr int digitOf(unsigned char byte) noexcept
    {
        if (byte >= '0' && byte <= '9') {
            return byte - '0';
        }
        return byte >= 'A' && byte <= 'F' ? byte - 'A' + 10 : -1;
    }
    [[nodiscard]] static constexpr std::array<Kind, 256> makeKinds() noexcept
    {
        std::array<Kind, 256> kinds{};
        for (std::size_t byte = 0; byte < kinds.size(); ++byte) {
            const bool isLiteral = (isUnescaped(byte) && byte != ' ') || byte == '+' || byte == '|';
            kinds[byte] = isLiteral ? LITERAL : byte == '%' ? PERCENT : NEVER;
        }
        return kinds;
    }
    static const std::array<Kind, 256> KINDS;

    std::uint8_t state_ = PLAIN;
};

inline constexpr std::array<CanonicalText::Kind, 256> CanonicalText::KINDS = CanonicalText::makeKinds();

/// Whether all of 16 bytes stand for themselves in a text form: letters, digits and `- . * + _ |`.
[[nodiscard]] inline bool areLiteral(const char* piece) noexcept
{
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(piece));
    const auto between = [](__m128i values, char first, char last) {
        return _mm_and_si128(_mm_cmpgt_epi8(values, _mm_set1_epi8(static_cast<char>(first - 1))),
                             _mm_cmplt_epi8(values, _mm_set1_epi8(static_cast<char>(last + 1))));
    };
    const auto is = [bytes](char value) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(value)); };
    // In one case, so that the letters are one range. No other byte gets among them.
    const __m128i letters = between(_mm_or_si128(bytes, _mm_set1_epi8(0x20)), 'a', 'z');
    const __m128i digits = between(bytes, '0', '9');
    const __m128i signs = _mm_or_si128(between(bytes, '*', '+'), between(bytes, '-', '.'));
    const __m128i lines = _mm_or_si128(is('_'), is('|'));
    const __m128i literal = _mm_or_si128(_mm_or_si128(letters, digits), _mm_or_si128(signs, lines));
    return _mm_movemask_epi8(literal) == 0xFFFF;
}

/// Whether all bytes of a text stand for themselves, as those of most names do. Not found out for texts of
/// less than 16 bytes: false.
[[nodiscard]] inline bool isAllLiteral(std::string_view text) noexcept
{
    constexpr std::size_t PIECE = 16;
    if (text.size() < PIECE) {
        return false;
    }
    const std::size_t last = text.size() - PIECE;
    for (std::size_t at = 0; at < last; at += PIECE) {
        if (!areLiteral(text.data() + at)) {
            return false;
        }
    }
    return areLiteral(text.data() + last);
}

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
