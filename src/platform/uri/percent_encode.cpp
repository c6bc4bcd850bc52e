#include <keepsafe/platform/uri/percent_encode.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include <keepsafe/platform/status/status_codes.h>

namespace {

namespace Status = Tessara::Keepsafe::Status;

constexpr bool isUnreserved(unsigned byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

constexpr signed char NO_DIGIT = -1;

constexpr signed char hexDigitValue(unsigned byte)
{
    if (byte >= '0' && byte <= '9') {
        return static_cast<signed char>(byte - '0');
    }
    if (byte >= 'A' && byte <= 'F') {
        return static_cast<signed char>(byte - 'A' + 10);
    }
    if (byte >= 'a' && byte <= 'f') {
        return static_cast<signed char>(byte - 'a' + 10);
    }
    return NO_DIGIT;
}

template <typename Value, typename Function>
constexpr std::array<Value, 256> tabulate(Function function)
{
    std::array<Value, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        table[byte] = function(byte);
    }
    return table;
}

constexpr std::array<bool, 256> UNRESERVED = tabulate<bool>(isUnreserved);
constexpr std::array<signed char, 256> DIGIT_VALUE = tabulate<signed char>(hexDigitValue);

bool staysAsItIs(char character) { return UNRESERVED[static_cast<unsigned char>(character)]; }
int digitValue(char character) { return DIGIT_VALUE[static_cast<unsigned char>(character)]; }

bool contains(const std::string& text, char character)
{
    return std::char_traits<char>::find(text.data(), text.size(), character) != nullptr;
}

/// Whether each `%` of `in` is followed by two hex digits.
bool isWellFormed(const std::string& in)
{
    for (std::size_t at = in.find('%'); at != std::string::npos; at = in.find('%', at + 3)) {
        if (in.size() - at < 3 || digitValue(in[at + 1]) == NO_DIGIT || digitValue(in[at + 2]) == NO_DIGIT) {
            return false;
        }
    }
    return true;
}

} // namespace

int percentEncodeUriPart(const std::string& in, std::string& out)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    const auto kept = static_cast<std::size_t>(std::count_if(in.begin(), in.end(), staysAsItIs));
    std::string encoded;
    encoded.reserve(kept + 3 * (in.size() - kept));
    for (const char character : in) {
        if (staysAsItIs(character)) {
            encoded += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            encoded += '%';
            encoded += DIGITS[byte >> 4U];
            encoded += DIGITS[byte & 0x0FU];
        }
    }
    out.swap(encoded);
    return Status::SUCCESS;
}

int percentDecodeUriPart(const std::string& in, std::string& out)
{
    // Most names need no decoding: two searches and a copy are enough.
    const bool hasEscapes = contains(in, '%');
    if (!hasEscapes && !contains(in, '+')) {
        out = in;
        return Status::SUCCESS;
    }
    if (hasEscapes && !isWellFormed(in)) {
        return Status::INVALID_ARGUMENT;
    }
    // The decoded text never overtakes the encoded one, so `out` may be `in` itself, and the memory that
    // `out` has is used again.
    const std::size_t size = in.size();
    if (out.size() < size) {
        out.resize(size);
    }
    std::size_t length = 0;
    for (std::size_t at = 0; at < size; ++at, ++length) {
        char character = in[at];
        if (character == '%') {
            character = static_cast<char>(digitValue(in[at + 1]) * 16 + digitValue(in[at + 2]));
            at += 2;
        } else if (character == '+') {
            character = ' ';
        }
        out[length] = character;
    }
    out.resize(length);
    return Status::SUCCESS;
}
