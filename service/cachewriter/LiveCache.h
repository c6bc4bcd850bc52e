#ifndef KEEPSAFE_SERVICE_CACHEWRITER_LIVECACHE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_LIVECACHE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheLocation.h"
#include "cachewriter/ImageBuilder.h"
#include "cachewriter/OperationCacheUpdate.h"
#include "files/FileSystem.h"

namespace keepsafe_service {

/// A published cache that is kept up to date object by object: publishing writes what has changed, not the
/// whole. One thread at a time.
class LiveCache {
public:
    /// `fileSystem` must outlive the object. Nothing is read or written: the first `publish` writes
    /// everything, whatever it finds.
    LiveCache(FileSystem& fileSystem, const CacheLocation& location,
              const Tessara::Keepsafe::Rbac::ObjectNamespace& covers);
    ~LiveCache();
    LiveCache(const LiveCache&) = delete;
    LiveCache& operator=(const LiveCache&) = delete;

    /// Adds the object, or replaces the one of its name. Throws `InputError`, with everything as it was, when
    /// the cache would outgrow its format.
    void put(const CacheObject& object);
    /// No object of the name is fine.
    void remove(const Tessara::Keepsafe::Rbac::ObjectNamespace& ns);
    [[nodiscard]] std::size_t objectCount() const noexcept;

    /// Publishes what has changed since the last call that succeeded, together with the operation cache, as
    /// `publishCache` does; returns the generation. After a failure everything is written the next time.
    std::uint64_t publish(const OperationBits& operations, const LockPatience& patience = {});

private:
    class State;
    std::unique_ptr<State> state_;
};

} // namespace keepsafe_service

#endif
