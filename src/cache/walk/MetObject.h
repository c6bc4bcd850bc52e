#ifndef KEEPSAFE_CACHE_WALK_METOBJECT_H
#define KEEPSAFE_CACHE_WALK_METOBJECT_H

#include <cstddef>

#include <keepsafe/cache/detail/records.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// An object of the cache that was met on the way to a name. `textLength` is that of the name's text form.
struct MetObject {
    [[nodiscard]] bool isNamed(std::size_t textLength) const noexcept { return nameLength == textLength; }

    /// The grants that count: of the named object those on itself, of the others those on their children.
    [[nodiscard]] NodeOffset countingTree(std::size_t textLength) const noexcept
    {
        return isNamed(textLength) ? object->ownBits : object->childBits;
    }

    const ManagedObject* object;
    std::size_t nameLength; ///< of its text form, with which the name's begins
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
