#ifndef KEEPSAFE_SERVICE_CACHEWRITER_OPERATIONCACHEUPDATE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_OPERATIONCACHEUPDATE_H

#include <cstdint>
#include <map>
#include <string>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cachewriter/ExclusiveLock.h"
#include "files/FileSystem.h"

namespace keepsafe_service {

/// Operations and their permission bits.
using OperationBits = std::map<Tessara::Keepsafe::Rbac::ObjectNamespace, std::int32_t>;

/// What to do about an operation whose bit in the published file is another one, or whose bit belongs to
/// another operation there. Running readers keep the bits they have read, so a bit that changes its meaning
/// makes them grant what was never granted, until they are restarted.
enum class Renumber { Refuse, Allow };

/// What has to be done to the published operations so that others are among them.
enum class OperationChange {
    None,
    Addition, ///< what is published keeps its bits
    Renewal   ///< nothing is published, or bits change: caches with the bits of before are of no use
};

/// One change of the operation cache file. It is replaced by renaming, and its lock is on a separate file: a
/// reader sees the old document or the new. The lock excludes other writers, and readers that ask for it; it
/// is held only while the new document is written and put in place.
class OperationCacheUpdate {
public:
    /// Reads the file, without its lock, and adds `operations` to what is there. Operations that are in the
    /// file alone stay there; `Renumber::Allow` drops those whose bit is taken over. Throws `InputError` when
    /// bits conflict or the file is not an operation cache, and `FileError`.
    OperationCacheUpdate(FileSystem& fileSystem, const std::string& path, const OperationBits& operations,
                         Renumber renumber);

    [[nodiscard]] OperationChange change() const noexcept { return merged_.change; }

    /// Reads the file again, under the exclusive lock, and replaces it. The new file may be read by whoever
    /// may read the one that it replaces. Throws what the constructor and `ExclusiveLock` throw, and
    /// `PublishError` when the change has become another one meanwhile.
    void carryOut(const LockPatience& patience = {});

private:
    struct Merged {
        OperationBits wanted;
        OperationChange change = OperationChange::None;
    };
    [[nodiscard]] Merged merge() const;
    void replaceBy(const OperationBits& wanted);

    FileSystem& fileSystem_;
    std::string path_;
    OperationBits operations_;
    Renumber renumber_;
    Merged merged_;
};

} // namespace keepsafe_service

#endif
