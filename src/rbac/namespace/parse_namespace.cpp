#include <keepsafe/rbac/namespace/parse_namespace.h>

#include <boost/lexical_cast/try_lexical_convert.hpp>

#include "separator.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

bool isHexDigit(char character) noexcept
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F') ||
           (character >= 'a' && character <= 'f');
}

/// The first `%` that does not begin an escape, or npos.
std::size_t findBadEscape(const std::string& text) noexcept
{
    std::size_t at = text.find('%');
    while (at != std::string::npos && text.size() - at >= 3 && isHexDigit(text[at + 1]) &&
           isHexDigit(text[at + 2])) {
        at = text.find('%', at + 3);
    }
    return at;
}

NamespaceFault faultIn(const std::string& text)
{
    if (text.empty() || text.front() != SEPARATOR) {
        return {0, "it does not start with '|'"};
    }
    const std::size_t escape = findBadEscape(text);
    if (escape != std::string::npos) {
        return {escape, "'%' is not followed by two hexadecimal digits"};
    }
    return {text.size(), "it does not end with '|'"};
}

} // namespace

boost::optional<ObjectNamespace> parseNamespace(const std::string& text, NamespaceFault& fault)
{
    ObjectNamespace parsed;
    if (boost::conversion::try_lexical_convert(text, parsed)) {
        return parsed;
    }
    fault = faultIn(text);
    return boost::none;
}

} // namespace Tessara::Keepsafe::Rbac
