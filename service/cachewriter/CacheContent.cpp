#include "cachewriter/CacheContent.h"

#include <numeric>

namespace keepsafe_service {

namespace {

template <typename Record>
FileContent wholeOf(const std::vector<Record>& records)
{
    const std::string_view bytes(reinterpret_cast<const char*>(records.data()),
                                 records.size() * sizeof(Record));
    return {records.size(), sizeof(Record), {{0, bytes}}};
}

} // namespace

CacheContent wholeOf(const CacheImage& image)
{
    CacheContent content;
    content.objects = wholeOf(image.objects);
    content.nodes = wholeOf(image.nodes);
    content.segments = wholeOf(image.segments);
    content.counts = wholeOf(image.counts);
    content.segmentRoot = image.segmentRoot;
    content.accessDefinitions = std::accumulate(image.counts.begin(), image.counts.end(), std::uint64_t{0});
    return content;
}

} // namespace keepsafe_service
