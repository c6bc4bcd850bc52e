#ifndef KEEPSAFE_CACHE_WALK_DECIDINGPATH_H
#define KEEPSAFE_CACHE_WALK_DECIDINGPATH_H

#include <cstddef>
#include <string_view>

#include <boost/container/small_vector.hpp>

#include <keepsafe/cache/detail/records.h>

#include "CacheWalk.h"
#include "MetObject.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// The objects of the cache that decide about one object: itself, and the objects above it up to the first
/// that does not inherit. Valid as long as the reader. Throws when the trie is damaged.
class DecidingPath {
public:
    DecidingPath(const CacheWalk& walk, std::string_view text)
    {
        walk.visitNames(text, [this](const ManagedObject& object, bool /*isNamed*/, std::size_t length) {
            __builtin_prefetch(&object);
            met_.push_back({&object, length});
        });
    }

    /// Calls `visit(const MetObject&)` from the object upwards, until it returns true or after an object that
    /// does not inherit. Returns whether the latter was the case.
    template <typename Visitor>
    bool visitUpwards(const Visitor& visit) const
    {
        for (auto met = met_.rbegin(); met != met_.rend(); ++met) {
            if (visit(*met)) {
                return false;
            }
            if (met->object->inherit == 0) {
                return true;
            }
        }
        return false;
    }

private:
    boost::container::small_vector<MetObject, 24> met_; ///< the root first
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
