#include "output/Json.h"

#include <cstdio>

namespace ksrbac {

namespace {

constexpr char REPLACEMENT[] = "\xEF\xBF\xBD";

/// Length of the UTF-8 sequence at the start of `text`, or 0 when there is none: bad lead or following
/// bytes, an overlong form, a surrogate or a number past U+10FFFF.
std::size_t utf8Length(std::string_view text)
{
    const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    const bool outOfRange =
        length >= 3 && ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                        (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F));
    return outOfRange ? 0 : length;
}

void appendAscii(std::string& out, char c)
{
    if (c == '"' || c == '\\') {
        out += '\\';
        out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
        char escape[8];
        (void)std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
        out += escape;
    } else {
        out += c;
    }
}

} // namespace

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string jsonString(std::string_view text)
{
    std::string out = "\"";
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        if (length == 0) {
            out += REPLACEMENT;
        } else if (length == 1) {
            appendAscii(out, text.front());
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out + '"';
}

JsonObject& JsonObject::addJson(std::string_view name, std::string_view json)
{
    if (!members_.empty()) {
        members_ += ',';
    }
    members_ += jsonString(name);
    members_ += ':';
    members_ += json;
    return *this;
}

JsonObject& JsonObject::add(std::string_view name, std::string_view value)
{
    return addJson(name, jsonString(value));
}

JsonObject& JsonObject::add(std::string_view name, bool value)
{
    return addJson(name, value ? "true" : "false");
}

JsonObject& JsonObject::add(std::string_view name, std::int64_t value)
{
    return addJson(name, std::to_string(value));
}

JsonObject& JsonObject::add(std::string_view name, std::uint64_t value)
{
    return addJson(name, std::to_string(value));
}

JsonObject& JsonObject::add(std::string_view name, double value)
{
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.4f", value);
    return addJson(name, text);
}

JsonObject& JsonObject::add(std::string_view name, const JsonObject& value)
{
    return addJson(name, value.text());
}

JsonArray& JsonArray::addJson(std::string_view json)
{
    if (!elements_.empty()) {
        elements_ += ',';
    }
    elements_ += json;
    return *this;
}

} // namespace ksrbac
