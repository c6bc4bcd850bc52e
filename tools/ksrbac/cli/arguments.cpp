#include "cli/arguments.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include <boost/lexical_cast/try_lexical_convert.hpp>

#include "exit_status.h"
#include "output/Json.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

[[noreturn]] void refuse(const std::string& name, const std::string& what, const std::string& text)
{
    throw InputError(name + ": " + what + ": \"" + escapeForMessage(text) + '"');
}

bool isUnreserved(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-._~").find(c) != std::string_view::npos;
}

} // namespace

Rbac::ObjectNamespace parseNamespace(const std::string& name, const std::string& text)
{
    Rbac::ObjectNamespace parsed;
    if (!boost::conversion::try_lexical_convert(text, parsed)) {
        refuse(name, "not a namespace", text);
    }
    return parsed;
}

std::list<Rbac::ObjectNamespace> parseNamespaces(const std::string& name, const std::string& text)
{
    std::list<Rbac::ObjectNamespace> parsed;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        parsed.push_back(parseNamespace(name, text.substr(begin, comma - begin)));
        begin = comma + 1;
    }
    return parsed;
}

int parseServiceRoleId(const std::string& name, const std::string& text)
{
    int id = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, id);
    if (error != std::errc() || stop != end || text.front() == '-') {
        refuse(name, "not a role id, which is a number from 0 to 2147483647", text);
    }
    return id;
}

bool parseSwitch(const std::string& name, const std::string& text)
{
    if (text != "on" && text != "off") {
        refuse(name, "neither on nor off", text);
    }
    return text == "on";
}

Rbac::Propagation parsePropagation(const std::string& name, const std::string& text)
{
    Rbac::Propagation parsed;
    if (!boost::conversion::try_lexical_convert(text, parsed)) {
        refuse(name, "none of OBJECT, CHILDREN and OBJECT_AND_CHILDREN", text);
    }
    return parsed;
}

std::string requirePathPart(const std::string& name, const std::string& text)
{
    const bool isUsable =
        !text.empty() && text != "." && text != ".." && std::all_of(text.begin(), text.end(), isUnreserved);
    if (!isUsable) {
        refuse(name, "not an id", text);
    }
    return text;
}

std::string requireText(const std::string& name, const std::string& text, std::size_t longest)
{
    if (!isUtf8(text)) {
        refuse(name, "not UTF-8", text);
    }
    if (text.size() > longest) {
        refuse(name, "longer than " + std::to_string(longest) + " bytes", text);
    }
    return text;
}

} // namespace ksrbac
