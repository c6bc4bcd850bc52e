#ifndef KEEPSAFE_SRC_JSON_BOUNDS_H
#define KEEPSAFE_SRC_JSON_BOUNDS_H

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <string_view>

#include <jansson.h>

namespace Tessara::Keepsafe {

constexpr std::size_t MEBIBYTE = std::size_t(1) << 20U;

/// What a document may need when Jansson makes a tree of it. Jansson calls itself for each level, up to 2048
/// of them, and needs up to eighty times the memory of the text, for a list of empty objects.
struct JsonBounds {
    /// Levels of arrays and objects within each other. The product's documents have up to ten; these need
    /// less than 16 KiB of stack.
    std::size_t levels = 100;
    /// Memory of the tree, as estimated from its values.
    std::size_t bytes = 256 * MEBIBYTE;

    /// For a text that somebody else has sent. The product's documents need 15 to 38 times their text.
    static JsonBounds ofText(std::size_t size)
    {
        constexpr std::size_t timesTheText = 40;
        JsonBounds bounds;
        bounds.bytes = std::min(bounds.bytes, std::max(16 * MEBIBYTE, timesTheText * size));
        return bounds;
    }

    /// For a file of the user's own.
    static JsonBounds ofAnySize() { return {JsonBounds().levels, std::numeric_limits<std::size_t>::max()}; }
};

/// Counts levels and values of a JSON text, without a tree and without knowing whether it is JSON.
class JsonMeasure {
public:
    explicit JsonMeasure(const JsonBounds& bounds) : bounds_(bounds) {}

    /// The position of the first byte that is beyond the bounds, and of the text's end if there is none.
    std::size_t findExcess(std::string_view text)
    {
        bool isInWord = false; // a number, true, false or null
        for (std::size_t at = 0; at < text.size(); ++at) {
            const char c = text[at];
            const bool wasInWord = isInWord;
            isInWord = false;
            if (c == '"') {
                const std::size_t end = endOfString(text, at);
                bytes_ += STRING + (end - at);
                at = end;
            } else if (c == '{' || c == '[') {
                ++levels_;
                bytes_ += c == '{' ? OBJECT : ARRAY;
            } else if (c == '}' || c == ']') {
                levels_ -= levels_ == 0 ? 0 : 1;
            } else if (c > ' ' && c != ',' && c != ':') {
                isInWord = true;
                bytes_ += wasInWord ? 0 : WORD;
            }
            if (isTooDeep() || bytes_ > bounds_.bytes) {
                return at;
            }
        }
        return text.size();
    }

    [[nodiscard]] bool isTooDeep() const { return levels_ > bounds_.levels; }

private:
    /// Measured with Jansson 2.14, each with its place in an array or object.
    static constexpr std::size_t OBJECT = 240;
    static constexpr std::size_t ARRAY = 144;
    static constexpr std::size_t STRING = 104; // a key or a value
    static constexpr std::size_t WORD = 48;

    /// The position of the quotation mark at its end, or of the text's last byte.
    static std::size_t endOfString(std::string_view text, std::size_t at)
    {
        for (++at; at < text.size() && text[at] != '"'; ++at) {
            at += text[at] == '\\' ? 1 : 0;
        }
        return std::min(at, text.size() - 1);
    }

    const JsonBounds& bounds_;
    std::size_t levels_ = 0;
    std::size_t bytes_ = 0;
};

/// Whether a tree of the text stays within the bounds. If not, fills `error` as Jansson does.
inline bool isWithinBounds(std::string_view text, json_error_t& error, const JsonBounds& bounds)
{
    JsonMeasure measure(bounds);
    const std::size_t at = measure.findExcess(text);
    if (at == text.size()) {
        return true;
    }
    const std::string_view before = text.substr(0, at);
    error.line = static_cast<int>(std::count(before.begin(), before.end(), '\n')) + 1;
    error.column = static_cast<int>(at - (before.rfind('\n') + 1)) + 1; // npos + 1 is 0
    error.position = static_cast<int>(at) + 1;
    error.source[0] = '\0';
    static_cast<void>(std::snprintf(error.text, sizeof error.text,
                                    measure.isTooDeep() ? "more than %zu levels of arrays and objects"
                                                        : "values need more than %zu bytes",
                                    measure.isTooDeep() ? bounds.levels : bounds.bytes));
    return false;
}

} // namespace Tessara::Keepsafe

#endif
