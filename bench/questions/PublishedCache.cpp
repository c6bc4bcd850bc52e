#include "questions/PublishedCache.h"

#include <boost/make_shared.hpp>

#include "cachewriter/publish_cache.h"
#include "files/PosixFileSystem.h"
#include "generate/GeneratedCache.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;

boost::shared_ptr<const AccessCache> openCache(const keepsafe_service::CacheLocation& location)
{
    return boost::make_shared<const AccessCache>(Manifest("bench", location.accessCache()));
}

PublishedCache::PublishedCache(const keepsafe_service::CacheImage& image) : location_(folder_.path(), "bench")
{
    keepsafe_service::PosixFileSystem fileSystem;
    keepsafe_service::publishCache(fileSystem, location_, GeneratedCache::rootNamespace(), image,
                                   GeneratedCache::operations(), keepsafe_service::Renumber::Refuse);
    cache_ = openCache(location_);
}

} // namespace keepsafe_bench
