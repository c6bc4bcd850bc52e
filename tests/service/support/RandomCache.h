#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_RANDOMCACHE_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_RANDOMCACHE_H

#include <cstdint>
#include <random>
#include <set>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheImage.h"
#include "cachewriter/ImageBuilder.h"
#include "support/AccessModel.h"

namespace keepsafe_test {

/// Caches and questions about them, drawn from few names, roles and bits, so that they meet; the borders of
/// each range are among them. The same for the same seed.
class RandomCache {
public:
    explicit RandomCache(unsigned seed) : random_(seed) {}

    /// From 0 to `limit` - 1.
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    Tessara::Keepsafe::Rbac::ObjectNamespace name();
    std::int32_t bit();
    std::set<int> roleSet();
    ModelObject object();
    AccessModel model();

private:
    std::mt19937 random_;
};

/// The object as the cache writer takes it.
keepsafe_service::CacheObject cacheObject(const Tessara::Keepsafe::Rbac::ObjectNamespace& ns,
                                          const ModelObject& object);
keepsafe_service::CacheImage imageOf(const AccessModel& model);

} // namespace keepsafe_test

#endif
