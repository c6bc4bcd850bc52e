#ifndef KEEPSAFE_SANDBOX_CACHEWRITER_PUBLISH_CACHE_H
#define KEEPSAFE_SANDBOX_CACHEWRITER_PUBLISH_CACHE_H

#include <cstdint>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheContent.h"
#include "cachewriter/CacheImage.h"
#include "cachewriter/CacheLocation.h"
#include "cachewriter/OperationCacheUpdate.h"
#include "files/FileSystem.h"

namespace keepsafe_sandbox {

/// Publishes an access cache together with the operation cache that its bits belong to; returns the access
/// cache's generation. The operation cache changes while the access cache is marked as being written, so no
/// reader that opens both pairs one generation's bits with another's. Both locks are held meanwhile, that of
/// the operation cache taken first; readers never hold both.
///
/// Throws what `CachePublisher::publish` and `OperationCacheUpdate` throw.
std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers, const CacheImage& image,
                           const OperationBits& operations, Renumber renumber);
std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers,
                           const ContentFor& contentFor, const OperationBits& operations, Renumber renumber);

} // namespace keepsafe_sandbox

#endif
