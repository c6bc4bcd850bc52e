#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_GENERATIONS_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_GENERATIONS_H

#include <string>
#include <vector>

#include <keepsafe/cache/AccessCache.h>

#include "cachewriter/CacheImage.h"
#include "cachewriter/ImageBuilder.h"

namespace keepsafe_test {

/// Caches of which each tells its number by everything that it answers: generation g has 40 g objects
/// |VAULT|box-0| and so on, and grants role 1 the bit g on each of them, nothing else.
std::vector<keepsafe_service::CacheObject> objectsOfGeneration(unsigned generation);
keepsafe_service::CacheImage imageOfGeneration(unsigned generation);

/// What a reader finds: "generation 2" when everything that it asks is answered as by that generation,
/// "refused" for status 12, anything else spelled out.
std::string findingOf(const Tessara::Keepsafe::Rbac::AccessCache& cache);
/// The same for the cache in a directory, opened again. The manifest has to name |VAULT|.
std::string findingIn(const std::string& directory);

} // namespace keepsafe_test

#endif
