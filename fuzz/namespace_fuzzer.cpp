// The namespace parser: a text that parses prints in canonical form, and that form parses to the same
// namespace.

#include <cstdint>
#include <cstdlib>
#include <string>

#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    ObjectNamespace parsed;
    if (!boost::conversion::try_lexical_convert(text, parsed)) {
        require(text.empty() || text.front() != '|' || text.back() != '|' ||
                text.find('%') != std::string::npos);
        return 0;
    }
    require(!text.empty() && text.front() == '|' && text.back() == '|');
    require(boost::lexical_cast<ObjectNamespace>(parsed.str()) == parsed);
    require(boost::lexical_cast<ObjectNamespace>(parsed.str()).str() == parsed.str());
    if (const auto parent = parsed.parentNamespace()) {
        require(parent->is_ancestor_of(parsed) && !parsed.is_ancestor_of(*parent) && *parent < parsed);
        require(parsed.str().compare(0, parent->str().size(), parent->str()) == 0);
    }
    return 0;
}
