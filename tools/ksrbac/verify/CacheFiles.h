#ifndef KSRBAC_VERIFY_CACHEFILES_H
#define KSRBAC_VERIFY_CACHEFILES_H

#include <optional>
#include <string>

#include <keepsafe/cache/detail/MemoryMap.h>
#include <keepsafe/platform/filelock/FileLock.h>

#include "verify/Fault.h"

namespace ksrbac {

/// The files of one access cache, mapped, with the shared file lock held as long as this lives: no writer
/// changes them meanwhile.
///
/// Unlike the reader that answers checks it opens a cache whose last write was interrupted, and one that is
/// incomplete: files that are missing, and a malformed manifest, are faults. What is there but cannot be read
/// throws `InputError`.
class CacheFiles {
public:
    using Map = Tessara::Keepsafe::Rbac::detail::MemoryMap;

    CacheFiles(const std::string& directory, FaultList& faults);

    /// Text form of the namespace that the manifest names; nothing when the manifest is damaged.
    [[nodiscard]] const std::optional<std::string>& namespaceText() const noexcept { return namespace_; }

    // Each is present if the file is. Without the manifest there is no file lock, and none of them is opened.
    [[nodiscard]] const std::optional<Map>& metadata() const noexcept { return metadata_; }
    [[nodiscard]] const std::optional<Map>& objects() const noexcept { return objects_; }
    [[nodiscard]] const std::optional<Map>& nodes() const noexcept { return nodes_; }
    [[nodiscard]] const std::optional<Map>& segments() const noexcept { return segments_; }

private:
    std::optional<FileLock> lock_;
    std::optional<FileLockGuard> guard_;
    std::optional<std::string> namespace_;
    std::optional<Map> metadata_;
    std::optional<Map> objects_;
    std::optional<Map> nodes_;
    std::optional<Map> segments_;
};

} // namespace ksrbac

#endif
