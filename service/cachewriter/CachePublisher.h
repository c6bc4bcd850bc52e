#ifndef KEEPSAFE_SERVICE_CACHEWRITER_CACHEPUBLISHER_H
#define KEEPSAFE_SERVICE_CACHEWRITER_CACHEPUBLISHER_H

#include <cstdint>
#include <string>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/CacheContent.h"
#include "cachewriter/CacheImage.h"
#include "cachewriter/ExclusiveLock.h"
#include "files/FileSystem.h"

namespace keepsafe_service {

/// Writes a cache directory that any number of processes may be reading. Its files are changed in place and
/// only ever grow, because readers keep them mapped.
///
/// In this order, under the exclusive lock of the manifest's path:
///
/// 1. every file is grown to the size that it needs: what can fail for lack of space fails here, and the
///    generation before stays published;
/// 2. the write-in-progress flag is set, and has reached the disk before anything else is changed;
/// 3. the content is written and has reached the disk;
/// 4. the header with the new root follows, then the manifest if it has to change;
/// 5. the flag is cleared, and the lock released.
///
/// A writer that dies or fails after step 2 leaves the flag set: readers refuse the cache until the next
/// `publish` of whole content, which neither trusts nor needs the content it finds. A directory that never
/// held a whole cache has a manifest without content, which readers refuse too.
class CachePublisher {
public:
    explicit CachePublisher(FileSystem& fileSystem, const LockPatience& patience = {}) noexcept
        : fileSystem_(fileSystem), patience_(patience)
    {
    }

    /// Returns the number of the generation that is now published. Throws `FileError`, `PublishError` for a
    /// directory of another writer and for a failure after step 2, and what `ExclusiveLock` throws.
    std::uint64_t publish(const std::string& directory,
                          const Tessara::Keepsafe::Rbac::ObjectNamespace& covers, const CacheImage& image);
    /// The same for content that is decided on, under the lock, when it is known what is there. Files that
    /// are to stay as they are cost nothing; `contentFor` may throw, which changes nothing.
    std::uint64_t publish(const std::string& directory,
                          const Tessara::Keepsafe::Rbac::ObjectNamespace& covers,
                          const ContentFor& contentFor);

    /// Step 2 alone, under the lock: readers refuse the cache until it is published. Throws like
    /// `publish`.
    void mark(const std::string& directory);

private:
    OpenFile openManifest(const std::string& directory);

    FileSystem& fileSystem_;
    LockPatience patience_;
};

} // namespace keepsafe_service

#endif
