// The namespace parser: a text that parses prints in canonical form, and that form parses to the same
// namespace.

#include <cstdint>
#include <string>

#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "require.h"

using Tessara::Keepsafe::Rbac::ObjectNamespace;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    ObjectNamespace parsed;
    if (!boost::conversion::try_lexical_convert(text, parsed)) {
        const bool mayParse = !text.empty() && text.front() == '|' && text.back() == '|';
        require(!mayParse || text.find('%') != std::string::npos,
                "only a bad escape spoils a text within bars");
        return 0;
    }
    require(text.front() == '|' && text.back() == '|', "a text form begins and ends with a bar");
    const auto again = boost::lexical_cast<ObjectNamespace>(parsed.str());
    require(again == parsed, "the printed form parses to the same namespace");
    require(again.str() == parsed.str(), "the printed form prints as itself");
    if (const auto parent = parsed.parentNamespace()) {
        require(parent->is_ancestor_of(parsed) && !parsed.is_ancestor_of(*parent), "a parent is an ancestor");
        require(*parent < parsed && !(parsed < *parent), "a parent comes before its child");
        require(parsed.str().compare(0, parent->str().size(), parent->str()) == 0,
                "the parent's text is a prefix");
    }
    return 0;
}
