#include "output/Json.h"

#include <cstdint>
#include <cstdio>

#include "printable.h"

namespace ksrbac {

namespace {

constexpr char REPLACEMENT[] = "\xEF\xBF\xBD";

using Tessara::Keepsafe::Process::decodeUtf8;
using Tessara::Keepsafe::Process::isControl;

void appendUnit(std::string& out, std::uint32_t unit)
{
    char escape[8];
    (void)std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(unit));
    out += escape;
}

/// Beyond the first 65536 characters as two units of UTF-16.
void appendEscape(std::string& out, std::uint32_t codePoint)
{
    constexpr std::uint32_t PLANE = 0x10000;
    if (codePoint < PLANE) {
        return appendUnit(out, codePoint);
    }
    appendUnit(out, 0xD800U + ((codePoint - PLANE) >> 10U));
    appendUnit(out, 0xDC00U + ((codePoint - PLANE) & 0x3FFU));
}

} // namespace

std::string jsonString(std::string_view text)
{
    std::string out = "\"";
    while (!text.empty()) {
        std::uint32_t codePoint = 0;
        const std::size_t length = decodeUtf8(text, codePoint);
        if (length == 0) {
            out += REPLACEMENT;
        } else if (isControl(codePoint)) {
            appendEscape(out, codePoint);
        } else {
            out += codePoint == '"' || codePoint == '\\' ? "\\" : "";
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
