#include "cachewriter/publish_cache.h"

#include "cachewriter/CachePublisher.h"

namespace keepsafe_sandbox {

std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers, const CacheImage& image,
                           const OperationBits& operations, Renumber renumber)
{
    return publishCache(
        fileSystem, location, covers, [&image](const FoundCache& /*found*/) { return wholeOf(image); },
        operations, renumber);
}

std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers,
                           const ContentFor& contentFor, const OperationBits& operations, Renumber renumber)
{
    OperationCacheUpdate operationCache(fileSystem, location.operationCache(), operations, renumber);
    operationCache.prepare();
    return CachePublisher(fileSystem).publish(location.accessCache(), covers, contentFor, [&operationCache] {
        operationCache.commit();
    });
}

} // namespace keepsafe_sandbox
