#ifndef KSRBAC_OUTPUT_JSON_H
#define KSRBAC_OUTPUT_JSON_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ksrbac {

/// A JSON string with its quotes. Bytes that are not UTF-8 become U+FFFD, because JSON cannot represent them.
std::string jsonString(std::string_view text);

/// Builds the text of one JSON object on one line, members in the order in which they are added.
class JsonObject {
public:
    JsonObject& add(std::string_view name, std::string_view value);
    JsonObject& add(std::string_view name, const char* value) { return add(name, std::string_view(value)); }
    JsonObject& add(std::string_view name, bool value);
    JsonObject& add(std::string_view name, std::int64_t value);
    JsonObject& add(std::string_view name, std::uint64_t value);
    JsonObject& add(std::string_view name, double value);
    JsonObject& add(std::string_view name, const JsonObject& value);
    /// `json` is the value's JSON text.
    JsonObject& addJson(std::string_view name, std::string_view json);

    [[nodiscard]] std::string text() const { return '{' + members_ + '}'; }

private:
    std::string members_;
};

/// Builds the text of a JSON array.
class JsonArray {
public:
    JsonArray& addJson(std::string_view json);
    [[nodiscard]] std::string text() const { return '[' + elements_ + ']'; }

private:
    std::string elements_;
};

} // namespace ksrbac

#endif
