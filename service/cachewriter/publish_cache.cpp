#include "cachewriter/publish_cache.h"

#include "cachewriter/CachePublisher.h"

namespace keepsafe_service {

std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers, const CacheImage& image,
                           const OperationBits& operations, Renumber renumber, const LockPatience& patience)
{
    return publishCache(
        fileSystem, location, covers, [&image](const FoundCache& /*found*/) { return wholeOf(image); },
        operations, renumber, patience);
}

std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers,
                           const ContentFor& contentFor, const OperationBits& operations, Renumber renumber,
                           const LockPatience& patience)
{
    OperationCacheUpdate operationCache(fileSystem, location.operationCache(), operations, renumber);
    CachePublisher publisher(fileSystem, patience);
    if (operationCache.change() == OperationChange::Renewal) {
        publisher.mark(location.accessCache());
    }
    if (operationCache.change() != OperationChange::None) {
        operationCache.carryOut(patience);
    }
    return publisher.publish(location.accessCache(), covers, contentFor);
}

} // namespace keepsafe_service
