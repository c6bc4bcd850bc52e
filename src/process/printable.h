#ifndef KEEPSAFE_SRC_PROCESS_PRINTABLE_H
#define KEEPSAFE_SRC_PROCESS_PRINTABLE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// \file
/// Which bytes of a text from elsewhere may be shown as they are.

namespace Tessara::Keepsafe::Process {

/// Whether a character is not seen itself and changes what is seen of others, or breaks lines: controls of
/// ASCII and Latin-1, separators of lines and paragraphs, and the format characters of Unicode 15, such as
/// those that turn the direction of writing round.
inline bool isControl(std::uint32_t codePoint) noexcept
{
    struct Range {
        std::uint32_t first, last;
    };
    constexpr std::array<Range, 23> RANGES = {
        {{0, 0x1F},          {0x7F, 0x9F},       {0xAD, 0xAD},       {0x600, 0x605},     {0x61C, 0x61C},
         {0x6DD, 0x6DD},     {0x70F, 0x70F},     {0x890, 0x891},     {0x8E2, 0x8E2},     {0x180E, 0x180E},
         {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},   {0xFEFF, 0xFEFF},   {0xFFF9, 0xFFFB},
         {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A},
         {0xE0001, 0xE0001}, {0xE0020, 0xE007F}, {0xE0100, 0xE01EF}}};
    const auto* const range = std::find_if(RANGES.begin(), RANGES.end(),
                                           [codePoint](const Range& each) { return codePoint <= each.last; });
    return range != RANGES.end() && codePoint >= range->first;
}

/// The length of the UTF-8 sequence at the start of `text`, which is not empty, and its code point; 0 when
/// there is none or it is overlong, a surrogate or beyond Unicode.
inline std::size_t decodeUtf8(std::string_view text, std::uint32_t& codePoint) noexcept
{
    struct Form {
        unsigned mask, lead;
        std::uint32_t least;
    };
    constexpr std::array<Form, 4> FORMS = {
        {{0x80U, 0, 0}, {0xE0U, 0xC0U, 0x80U}, {0xF0U, 0xE0U, 0x800U}, {0xF8U, 0xF0U, 0x10000U}}};
    const auto byte = [text](std::size_t at) {
        return static_cast<unsigned>(static_cast<unsigned char>(text[at]));
    };
    const unsigned first = byte(0);
    const auto* const form = std::find_if(
        FORMS.begin(), FORMS.end(), [first](const Form& each) { return (first & each.mask) == each.lead; });
    if (form == FORMS.end()) {
        return 0;
    }
    const auto length = static_cast<std::size_t>(form - FORMS.begin()) + 1;
    if (text.size() < length) {
        return 0;
    }
    codePoint = first & ~form->mask;
    for (std::size_t at = 1; at < length; ++at) {
        if ((byte(at) & 0xC0U) != 0x80U) {
            return 0;
        }
        codePoint = (codePoint << 6U) | (byte(at) & 0x3FU);
    }
    const bool isSurrogate = codePoint >= 0xD800U && codePoint <= 0xDFFFU;
    return codePoint < form->least || isSurrogate || codePoint > 0x10FFFFU ? 0 : length;
}

inline bool isUtf8(std::string_view text) noexcept
{
    while (!text.empty()) {
        std::uint32_t ignored = 0;
        const std::size_t length = decodeUtf8(text, ignored);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

/// How many bytes at the start of `text`, which is not empty, may be shown as they are; 0 if the first one
/// must be written as \xHH.
inline std::size_t printableLength(std::string_view text) noexcept
{
    std::uint32_t codePoint = 0;
    const std::size_t length = decodeUtf8(text, codePoint);
    return length != 0 && isControl(codePoint) ? 0 : length;
}

/// The text with every byte that may not be shown as \xHH.
inline std::string printable(std::string_view text)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string shown;
    while (!text.empty()) {
        const std::size_t length = printableLength(text);
        if (length == 0) {
            const auto byte = static_cast<unsigned char>(text.front());
            shown.append({'\\', 'x', DIGITS[byte >> 4U], DIGITS[byte & 15U]});
        } else {
            shown += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return shown;
}

} // namespace Tessara::Keepsafe::Process

#endif
