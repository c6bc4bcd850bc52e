#ifndef KEEPSAFE_SERVICE_CACHEWRITER_CACHECONTENT_H
#define KEEPSAFE_SERVICE_CACHEWRITER_CACHECONTENT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "cachewriter/CacheImage.h"

namespace keepsafe_service {

/// Bytes and their place in a file. Refers to memory of the content's owner.
struct FileRange {
    std::uint64_t offset;
    std::string_view bytes;
};

/// What to write to one record file.
struct FileContent {
    std::size_t records = 0; ///< in use, the reserved first one included
    std::size_t recordBytes = 0;
    std::vector<FileRange> ranges;

    [[nodiscard]] std::uint64_t bytesInUse() const noexcept { return std::uint64_t{records} * recordBytes; }
};

/// What to write to make a generation: all of it, or what differs from the generation that is published.
struct CacheContent {
    bool isWhole = true;
    FileContent objects;
    FileContent nodes;
    FileContent segments;
    FileContent counts;
    Tessara::Keepsafe::Rbac::NodeOffset segmentRoot = 0;
    std::uint64_t accessDefinitions = 0;
};

/// What a writer finds under the lock.
struct FoundCache {
    std::uint64_t generation = 0; ///< number of completed writes
    /// The last write came to its end and no file is shorter than it left it.
    bool isIntact = false;
};

/// Decides what to write once the existing content is known.
using ContentFor = std::function<CacheContent(const FoundCache&)>;

/// All of an image, which must outlive the result.
[[nodiscard]] CacheContent wholeOf(const CacheImage& image);

} // namespace keepsafe_service

#endif
