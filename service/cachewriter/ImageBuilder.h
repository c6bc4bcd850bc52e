#ifndef KEEPSAFE_SERVICE_CACHEWRITER_IMAGEBUILDER_H
#define KEEPSAFE_SERVICE_CACHEWRITER_IMAGEBUILDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/cache/detail/records.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheImage.h"
#include "cachewriter/GrantTrees.h"
#include "cachewriter/Grants.h"

namespace keepsafe_service {

/// One object of a cache.
struct CacheObject {
    Tessara::Keepsafe::Rbac::ObjectNamespace ns;
    bool inherit = true;                     ///< takes the child grants of its ancestors
    Grants own;                              ///< on the object itself
    Grants child;                            ///< on everything below it
    std::uint32_t accessDefinitionCount = 0; ///< for the file "counts"

    void grant(std::int32_t roleId, Tessara::Keepsafe::Rbac::Propagation propagation,
               Tessara::Keepsafe::Rbac::Operation operation)
    {
        if (propagation != Tessara::Keepsafe::Rbac::Propagation::CHILDREN) {
            own.add(roleId, operation);
        }
        if (propagation != Tessara::Keepsafe::Rbac::Propagation::OBJECT) {
            child.add(roleId, operation);
        }
    }
};

/// Collects objects, in any order, and turns them into the content of a cache. Equal input gives equal bytes,
/// whatever the order of the objects, except for the order of the trees in "nodes", which is that of `add`.
class ImageBuilder {
public:
    /// Throws `InputError` when the cache would outgrow its format.
    void add(const CacheObject& object);
    [[nodiscard]] std::size_t objectCount() const noexcept { return objects_.size(); }

    /// Throws `InputError` for an object given twice and for a cache that would outgrow its format.
    CacheImage build() &&;

private:
    /// An object whose name is in `texts_`: a million separate strings would cost twice the memory.
    struct Entry {
        std::size_t textBegin;
        std::size_t textLength;
        Tessara::Keepsafe::Rbac::NodeOffset ownBits;
        Tessara::Keepsafe::Rbac::NodeOffset childBits;
        std::uint32_t accessDefinitionCount;
        bool inherit;
    };

    [[nodiscard]] std::string_view textOf(const Entry& entry) const noexcept
    {
        return {texts_.data() + entry.textBegin, entry.textLength};
    }
    void sortEntries();

    std::string texts_;
    std::vector<Entry> objects_;
    GrantTrees grants_;
};

} // namespace keepsafe_service

#endif
