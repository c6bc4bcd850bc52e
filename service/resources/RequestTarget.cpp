#include "resources/RequestTarget.h"

#include <algorithm>
#include <limits>

#include <keepsafe/platform/uri/percent_encode.h>

#include "accesscontrol/Refusal.h"
#include "decimal.h"
#include "split.h"
#include "json/Element.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Text::parseDecimal;
using Tessara::Keepsafe::Text::split;

namespace {

constexpr char PREFIX[] = "/keepsafe/access-control/";

std::string decoded(const std::string& part)
{
    std::string text;
    if (percentDecodeUriPart(part, text) != 0) {
        throw Refusal(Refusal::Malformed,
                      "the request's target: a % without two hexadecimal digits in " + shown(part));
    }
    return text;
}

} // namespace

RequestTarget RequestTarget::parse(const std::string& target)
{
    RequestTarget parsed;
    const std::size_t mark = target.find('?');
    const std::string path = target.substr(0, mark);
    if (mark != std::string::npos) {
        parsed.query = target.substr(mark + 1);
    }
    const std::string prefix = PREFIX;
    if (path.compare(0, prefix.size(), prefix) != 0) {
        throw Refusal(Refusal::Unknown, "there is no resource " + shown(path));
    }
    for (const std::string& segment : split(path.substr(prefix.size()), '/')) {
        parsed.segments.push_back(decoded(segment));
    }
    return parsed;
}

std::map<std::string, std::string> RequestTarget::parameters(const std::vector<std::string>& known) const
{
    std::map<std::string, std::string> found;
    if (!query || query->empty()) {
        return found;
    }
    for (const std::string& parameter : split(*query, '&')) {
        const std::size_t equals = parameter.find('=');
        const std::string name = decoded(parameter.substr(0, equals));
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            throw Refusal(Refusal::Invalid, "the query parameter " + shown(name) + " is not known");
        }
        const std::string value = equals == std::string::npos ? "" : decoded(parameter.substr(equals + 1));
        if (!found.emplace(name, value).second) {
            throw Refusal(Refusal::Invalid, "the query parameter \"" + name + "\" is given twice");
        }
    }
    return found;
}

std::optional<std::string> RequestTarget::filter() const
{
    const std::map<std::string, std::string> given = parameters({"filter"});
    return given.empty() ? std::nullopt : std::optional<std::string>(given.at("filter"));
}

void RequestTarget::expectNoQuery() const
{
    if (query && !query->empty()) {
        throw Refusal(Refusal::Invalid, "the resource takes no query, but " + shown(*query) + " is given");
    }
}

ObjectNamespace namespaceOf(const std::string& segment)
{
    ObjectNamespace ns;
    if (!parseNamespace(segment, ns)) {
        throw Refusal(Refusal::Malformed, shown(segment) + " in the request's target is not a namespace");
    }
    return ns;
}

std::int32_t idOf(const std::string& text, const std::string& what)
{
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    std::int32_t number = 0;
    if (parseDecimal(text, number) == std::errc() && number >= 0 && text == std::to_string(number)) {
        return number; // other texts of the number are not ids
    }
    throw Refusal(Refusal::Invalid, what + ": " + shown(text) +
                                        " is not the decimal text of a number from 0 to " +
                                        std::to_string(most));
}

std::string shown(const std::string& text)
{
    constexpr std::size_t limit = 200;
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (out.size() > limit) {
            return out + "...";
        }
        if (byte < 0x20 || byte > 0x7E || c == '"') {
            out += '%';
            out += digits[byte >> 4U];
            out += digits[byte & 15U];
        } else {
            out += c;
        }
    }
    return out + '"';
}

} // namespace keepsafe_service
