#ifndef KEEPSAFE_RBAC_NAMESPACE_PARSE_NAMESPACE_H
#define KEEPSAFE_RBAC_NAMESPACE_PARSE_NAMESPACE_H

#include <cstddef>
#include <string>

#include <boost/optional.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac {

/// Where and why a text is not the text form of a namespace.
struct NamespaceFault {
    std::size_t position = 0; ///< how many bytes of the text are in front of the place
    std::string reason;       ///< in words, for example "it does not start with '|'"
};

/// The namespace of a text form, and nothing for any other text; then `fault` says why, and is unchanged
/// otherwise. Takes the same texts as `boost::lexical_cast<ObjectNamespace>`, which says only that a cast
/// failed.
///
/// Any thread. Throws `std::bad_alloc` alone.
[[nodiscard]] KEEPSAFE_API boost::optional<ObjectNamespace> parseNamespace(const std::string& text,
                                                                           NamespaceFault& fault);

} // namespace Tessara::Keepsafe::Rbac

#endif
