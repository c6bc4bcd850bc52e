#include <cstddef>

#include <boost/container/small_vector.hpp>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "separator.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char HEX_DIGITS[] = "0123456789ABCDEF";

/// ASCII letters and digits, whatever the locale, and the four marks that form encoding leaves unchanged.
constexpr bool staysAsItIs(unsigned char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '*' || byte == '_' || byte == '.';
}

struct CopiedBytes {
    bool has[256] = {};
    constexpr CopiedBytes()
    {
        for (unsigned byte = 0; byte < 256; ++byte) {
            has[byte] = staysAsItIs(static_cast<unsigned char>(byte));
        }
    }
};
constexpr CopiedBytes COPIED;

/// A buffer for text whose length is not yet known. On the stack for usual names, so that the stored text has
/// its exact size.
using Buffer = boost::container::small_vector<char, 512>;

constexpr std::size_t LONGEST_ESCAPE = 3;

/// Writes the escaped form of `component` to a buffer with enough room. Returns its end.
char* encode(const std::string& component, char* out) noexcept
{
    for (const char character : component) {
        const auto byte = static_cast<unsigned char>(character);
        if (COPIED.has[byte]) {
            *out++ = character;
        } else if (character == ' ') {
            *out++ = '+';
        } else {
            *out++ = '%';
            *out++ = HEX_DIGITS[byte >> 4U];
            *out++ = HEX_DIGITS[byte & 15U];
        }
    }
    return out;
}

} // namespace

const std::string& ObjectNamespace::str() const
{
    if (text_.empty()) {
        std::size_t atMost = 1;
        for (const std::string& component : components_) {
            atMost += LONGEST_ESCAPE * component.size() + 1;
        }
        Buffer buffer(atMost, boost::container::default_init);
        char* end = buffer.data();
        *end++ = SEPARATOR;
        for (const std::string& component : components_) {
            end = encode(component, end);
            *end++ = SEPARATOR;
        }
        text_.assign(buffer.data(), end);
    }
    return text_;
}

std::string ObjectNamespace::encode_component(const std::string& component)
{
    Buffer buffer(LONGEST_ESCAPE * component.size(), boost::container::default_init);
    return {buffer.data(), encode(component, buffer.data())};
}

} // namespace Tessara::Keepsafe::Rbac
