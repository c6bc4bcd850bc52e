#include "output/escape.h"

namespace ksrbac {

std::string escapeForMessage(std::string_view text, std::size_t limit)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    for (const char c : text.substr(0, limit)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\\') {
            result += "\\\\";
        } else if (byte >= 0x20 && byte <= 0x7E) {
            result += c;
        } else {
            result += "\\x";
            result += digits[byte >> 4U];
            result += digits[byte & 0xFU];
        }
    }
    return text.size() > limit ? result + "..." : result;
}

} // namespace ksrbac
