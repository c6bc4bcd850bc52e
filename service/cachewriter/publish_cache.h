#ifndef KEEPSAFE_SERVICE_CACHEWRITER_PUBLISH_CACHE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_PUBLISH_CACHE_H

#include <cstdint>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheContent.h"
#include "cachewriter/CacheImage.h"
#include "cachewriter/CacheLocation.h"
#include "cachewriter/OperationCacheUpdate.h"
#include "files/FileSystem.h"

namespace keepsafe_service {

/// Publishes an access cache together with the operation cache that its bits belong to; returns the access
/// cache's generation. The two locks are never held together, and one that nothing has to be changed under is
/// not taken: whoever holds one of them delays nothing but changes of what it protects.
///
/// The operation cache changes first. If it only grows, both generations of the access cache go with it. Else
/// the access cache is marked as being written before, so that no reader that opens both pairs one
/// generation's bits with another's.
///
/// Throws what `CachePublisher::publish` and `OperationCacheUpdate` throw.
std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers, const CacheImage& image,
                           const OperationBits& operations, Renumber renumber,
                           const LockPatience& patience = {});
std::uint64_t publishCache(FileSystem& fileSystem, const CacheLocation& location,
                           const Tessara::Keepsafe::Rbac::ObjectNamespace& covers,
                           const ContentFor& contentFor, const OperationBits& operations, Renumber renumber,
                           const LockPatience& patience = {});

} // namespace keepsafe_service

#endif
