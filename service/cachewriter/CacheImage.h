#ifndef KEEPSAFE_SERVICE_CACHEWRITER_CACHEIMAGE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_CACHEIMAGE_H

#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "errors/InputError.h"

namespace keepsafe_service {

/// The whole content of a cache's record files. Record 0 of each is reserved and all zero.
struct CacheImage {
    std::vector<Tessara::Keepsafe::Rbac::ManagedObject> objects;
    std::vector<Tessara::Keepsafe::Rbac::detail::BitsNode> nodes;
    std::vector<Tessara::Keepsafe::Rbac::detail::SegmentNode> segments;
    /// Number of access definitions of each object, in the order of `objects`.
    std::vector<std::uint32_t> counts;
    Tessara::Keepsafe::Rbac::NodeOffset segmentRoot = 0;
};

[[noreturn]] inline void failOutgrown(const char* fileName)
{
    throw InputError(std::string("too many objects: the file \"") + fileName + "\" would exceed 4 GiB");
}

/// Byte offset of a record by its number. Throws `InputError` when the file would grow past what an offset
/// can tell.
template <typename Record>
Tessara::Keepsafe::Rbac::NodeOffset recordOffset(std::size_t number, const char* fileName)
{
    constexpr std::size_t limit = UINT32_MAX / sizeof(Record);
    if (number > limit) {
        failOutgrown(fileName);
    }
    return static_cast<Tessara::Keepsafe::Rbac::NodeOffset>(number * sizeof(Record));
}

} // namespace keepsafe_service

#endif
