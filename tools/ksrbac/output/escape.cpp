#include "output/escape.h"

#include <algorithm>

#include "printable.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;

namespace {

bool isPrintableAscii(char c) noexcept { return c >= ' ' && c <= '~'; }

/// Not more than `limit` bytes from the start, without a part of a character at the end.
std::string_view beginningOf(std::string_view text, std::size_t limit) noexcept
{
    constexpr int MOST_CONTINUATIONS = 3;
    if (text.size() <= limit) {
        return text;
    }
    std::size_t size = limit;
    for (int back = 0; back < MOST_CONTINUATIONS && size > 0; ++back) {
        if ((static_cast<unsigned char>(text[size]) & 0xC0U) != 0x80U) {
            break;
        }
        --size;
    }
    return text.substr(0, size);
}

} // namespace

bool isPrintable(std::string_view text) noexcept
{
    while (!text.empty()) {
        const std::size_t length = isPrintableAscii(text.front()) ? 1 : Process::printableLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string printable(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), isPrintableAscii) ? std::string(text)
                                                                   : Process::printable(text);
}

std::string escapeForMessage(std::string_view text, std::size_t limit)
{
    const std::string_view beginning = beginningOf(text, limit);
    std::string doubled;
    for (const char c : beginning) {
        doubled.append(c == '\\' ? 2 : 1, c);
    }
    return printable(doubled) + (beginning.size() < text.size() ? "..." : "");
}

} // namespace ksrbac
