#include "cli/arguments.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include <boost/lexical_cast/try_lexical_convert.hpp>

#include "decimal.h"
#include "exit_status.h"
#include "output/escape.h"
#include "printable.h"
#include "split.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
using Tessara::Keepsafe::Process::isUtf8;
using Tessara::Keepsafe::Text::parseDecimal;
using Tessara::Keepsafe::Text::split;

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
    Rbac::NamespaceFault fault;
    const auto parsed = Rbac::parseNamespace(text, fault);
    if (!parsed) {
        throw InputError(name + ": not a namespace: " + faultyNamespace(text, fault));
    }
    return *parsed;
}

std::string faultyNamespace(const std::string& text, const Rbac::NamespaceFault& fault)
{
    const bool isInside = fault.position > 0 && fault.position < text.size();
    const std::string place = isInside ? "byte " + std::to_string(fault.position + 1) + ": " : "";
    return '"' + escapeForMessage(text) + "\": " + place + fault.reason;
}

std::list<Rbac::ObjectNamespace> parseNamespaces(const std::string& name, const std::string& text)
{
    std::list<Rbac::ObjectNamespace> parsed;
    for (const std::string& item : split(text, ',')) {
        parsed.push_back(parseNamespace(name, item));
    }
    return parsed;
}

std::optional<int> parseRoleId(const std::string& place, const std::string& text)
{
    int id = 0;
    const std::errc error = parseDecimal(text, id);
    if (error == std::errc::result_out_of_range) {
        throw InputError(place + ", \"" + escapeForMessage(text) + "\", does not fit 32 bits");
    }
    return error == std::errc() ? std::optional(id) : std::nullopt;
}

std::optional<int> parseServiceRoleId(const std::string& name, const std::string& text)
{
    int id = 0;
    const std::errc error = parseDecimal(text, id);
    if (error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    if (error != std::errc() || text.front() == '-') {
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
