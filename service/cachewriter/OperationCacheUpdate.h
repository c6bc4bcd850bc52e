#ifndef KEEPSAFE_SANDBOX_CACHEWRITER_OPERATIONCACHEUPDATE_H
#define KEEPSAFE_SANDBOX_CACHEWRITER_OPERATIONCACHEUPDATE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "files/FileSystem.h"

namespace keepsafe_sandbox {

/// Operations and their permission bits.
using OperationBits = std::map<Tessara::Keepsafe::Rbac::ObjectNamespace, std::int32_t>;

/// What to do about an operation whose bit in the published file is another one, or whose bit belongs to
/// another operation there. Running readers keep the bits they have read, so a bit that changes its meaning
/// makes them grant what was never granted, until they are restarted.
enum class Renumber { Refuse, Allow };

/// One change of the operation cache file, under its exclusive lock from construction to destruction. The
/// file is replaced by renaming, its lock is on a separate file: a reader sees the old document or the new.
class OperationCacheUpdate {
public:
    /// Takes the lock, reads the file and adds `operations` to it. Operations that are in the file alone stay
    /// there; `Renumber::Allow` drops those whose bit is taken over. Throws `InputError` when bits conflict
    /// or the file is not an operation cache, `FileError`, and `EC_exception` when the lock cannot be
    /// acquired.
    OperationCacheUpdate(FileSystem& fileSystem, const std::string& path, const OperationBits& operations,
                         Renumber renumber);
    ~OperationCacheUpdate();
    OperationCacheUpdate(const OperationCacheUpdate&) = delete;
    OperationCacheUpdate& operator=(const OperationCacheUpdate&) = delete;

    /// Brings the new document to the disk beside the published one.
    void prepare();
    /// Puts it in the published one's place.
    void commit();

private:
    void merge(const OperationBits& operations, Renumber renumber);

    FileSystem& fileSystem_;
    std::string path_;
    std::string preparedPath_;
    FileLock lock_;
    FileLockGuard guard_;
    std::optional<OperationBits> published_; ///< empty: there is no file
    OperationBits wanted_;
    bool isPrepared_ = false;
};

} // namespace keepsafe_sandbox

#endif
