#ifndef KEEPSAFE_BENCH_QUESTIONS_PUBLISHEDCACHE_H
#define KEEPSAFE_BENCH_QUESTIONS_PUBLISHEDCACHE_H

#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>

#include "cachewriter/CacheImage.h"
#include "cachewriter/CacheLocation.h"
#include "support/TempDir.h"

namespace keepsafe_bench {

/// Opens the cache that was published there.
boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessCache>
openCache(const keepsafe_service::CacheLocation& location);

/// An open cache in its own folder.
class PublishedCache {
public:
    explicit PublishedCache(const keepsafe_service::CacheImage& image);

    /// The installation root that the cache is under.
    [[nodiscard]] std::string root() const { return folder_.path(); }
    [[nodiscard]] const keepsafe_service::CacheLocation& location() const noexcept { return location_; }
    [[nodiscard]] const boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessCache>& cache() const noexcept
    {
        return cache_;
    }

private:
    keepsafe_test::TempDir folder_;
    keepsafe_service::CacheLocation location_;
    boost::shared_ptr<const Tessara::Keepsafe::Rbac::AccessCache> cache_;
};

} // namespace keepsafe_bench

#endif
