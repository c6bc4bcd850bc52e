#ifndef KEEPSAFE_CACHE_ACCESSCACHE_H
#define KEEPSAFE_CACHE_ACCESSCACHE_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <keepsafe/cache/Manifest.h>
#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/MemoryMap.h>
#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>
#include <keepsafe/cache/detail/records.h>
#include <keepsafe/cache/detail/segment_iterator.h>
#include <keepsafe/platform/export/export.h>
#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Process {
class OnceInAWhile;
class RepeatedLines;
} // namespace Tessara::Keepsafe::Process

namespace Tessara::Keepsafe::Rbac {

namespace detail {
class CacheWalk;
}

/// An access cache: a directory that the access-control service writes and this class reads through read-only
/// mappings. Opening costs the same at any size; pages that are never used are never read.
///
/// Threads and processes: any number of each may use one cache at a time, each through its own readers from
/// `lock()`. The writer is kept out by the file lock named by the manifest's path.
///
/// Nothing in the files is trusted: an offset outside its file, a tree with a cycle, or a file that is cut
/// short while it is read throws `EC_exception` 12. The log has a line for it, which is written when the lock
/// has been released. Equal lines of one cache are logged once a second, with the number of those held back.
///
/// Replaced files are noticed within 10 ms: the new ones are opened if they are complete and belong to the
/// same namespace; otherwise `lock()` throws `EC_exception` 12.
class KEEPSAFE_API AccessCache {
public:
    class Reader;

    static const std::string MANIFEST_FILE_NAME; ///< "manifest.json"
    static const std::string METADATA_FILE_NAME; ///< "metadata"
    static const std::string OBJECT_FILE_NAME;   ///< "objects"
    static const std::string NODE_FILE_NAME;     ///< "nodes"
    static const std::string AD_COUNT_FILE_NAME; ///< "counts": the writer's own; never opened here
    static const std::string SEGMENT_FILE_NAME;  ///< "segments"

    /// Where the access-control service writes the cache of that id, under the installation root.
    [[nodiscard]] static std::string directoryOf(const std::string& cacheId);

    /// Maps the cache's files. Throws `std::runtime_error` when one of them cannot be opened or mapped, after
    /// a line on standard error; see `detail::MemoryMap`.
    explicit AccessCache(const Manifest& manifest);
    ~AccessCache();
    AccessCache(const AccessCache&) = delete;
    AccessCache& operator=(const AccessCache&) = delete;

    /// Path of the manifest, which is also the name of the cache's file lock.
    [[nodiscard]] const std::string& manifest_filename() const noexcept { return manifest_.manifestFileName; }
    /// The manifest that the cache was opened with.
    [[nodiscard]] const Manifest& manifest() const noexcept { return manifest_; }

    /// Records in the mapped "objects" file, the reserved first one included.
    [[nodiscard]] std::size_t managedObjectCount() const noexcept;

    /// Takes the shared file lock, waiting for the writer as long as necessary, and maps again what the
    /// writer has grown. Queries the files' sizes only if a writer may have been active since the last query
    /// (see `FileLockGuard::writes`). Throws `EC_exception` 12 when a write was interrupted, when the header
    /// or a file is missing or when the lock cannot be acquired, and `std::runtime_error` when a file cannot
    /// be mapped.
    [[nodiscard]] Reader lock() const;

private:
    friend class detail::CacheWalk;
    enum class Look { FilesAreCurrent, LockIsOutdated, FilesAreGone, NamespaceIsAnother };

    [[nodiscard]] bool refresh(Reader& reader) const;
    [[nodiscard]] bool refreshSlowly(Reader& reader, std::uint64_t writes) const;
    [[nodiscard]] bool pagesAreMissing(const Reader& reader) const noexcept;
    [[nodiscard]] bool lookAtFiles(Reader& reader) const;
    [[nodiscard]] Look distrustUnlessRenewed(const Reader& reader) const;
    [[nodiscard]] Look renewFiles(const Reader& reader) const;
    void reopenChanged() const;
    [[nodiscard]] bool refreshSizes() const;
    [[nodiscard]] std::array<detail::MemoryMap*, 4> maps() const noexcept;
    void retireMappings() const;
    void releaseRetired() const noexcept;
    [[nodiscard]] std::string unreadable(const char* reason) const;
    [[noreturn]] void throwUnreadable(const char* reason) const;
    void tell(const char* tag, std::string text) const;

    mutable detail::MissingPages missingPages_{0}; ///< of all four mappings, which it outlives
    Manifest manifest_;
    FileLock fileLock_;
    mutable detail::MemoryMap metadataMap_;
    mutable detail::MemoryMap objectMap_;
    mutable detail::MemoryMap nodeMap_;
    mutable detail::MemoryMap segmentMap_;
    detail::ReadOnlyBlockAllocator<detail::MetadataHeader> metadata_;
    detail::ReadOnlyBlockAllocator<ManagedObject> objects_;
    detail::ReadOnlyBlockAllocator<detail::BitsNode> nodes_;
    detail::ReadOnlyBlockAllocator<detail::SegmentNode> segments_;
    mutable std::atomic<bool> hasRetired_{false};
    mutable FileLock::OtherHolders retiredUsers_;   ///< who may use retired mappings
    mutable std::atomic<bool> mustRenewAll_{false}; ///< a descriptor was lost, or renewing failed
    /// Even, except while mappings are being replaced and after that has failed. INVARIANT: mappings that are
    /// taken while it keeps one even value are of files that belong together.
    mutable std::atomic<std::uint64_t> renewals_{0};
    /// INVARIANT: no page of the mappings was missing after this number was counted.
    mutable std::atomic<std::uint64_t> mappedAtMissingPages_{0};
    const std::unique_ptr<Process::OnceInAWhile> look_; ///< at the files at their paths
    const std::unique_ptr<Process::RepeatedLines> repeatedLines_;
    /// INVARIANT: while the lock is held on this state of the files, the mappings have the files' sizes. 0:
    /// no state is known.
    mutable std::atomic<std::uint64_t> mappedAtWrites_{0};
};

/// The locked view that answers all questions about a cache. Made by `AccessCache::lock()`, held for the
/// duration of one check, used by one thread. While it lives the writer is kept out, and what it returns
/// stays valid; the cache must outlive it. Reading allocates nothing.
class KEEPSAFE_API AccessCache::Reader {
public:
    Reader(Reader&&) noexcept;
    Reader& operator=(Reader&&) = delete;
    ~Reader();

    /// Whether the writer is active, or died while it was.
    [[nodiscard]] bool writing_in_progress() const noexcept;

    /// The object with exactly this name, or null.
    [[nodiscard]] const ManagedObject* lookup(const ObjectNamespace& ns) const;

    /// The record of "objects" that contains the byte at `offset`.
    [[nodiscard]] const ManagedObject& getManagedObject(NodeOffset offset) const;

    /// Whether the role holds the operation on the object itself.
    [[nodiscard]] bool getOperationBit(const ManagedObject& object, std::int32_t roleId,
                                       const Operation& operation) const;
    /// Whether the object grants the role the operation on everything below it.
    [[nodiscard]] bool getChildOperationBit(const ManagedObject& object, std::int32_t roleId,
                                            const Operation& operation) const;
    /// The same by name; false for a name that is not in the cache.
    [[nodiscard]] bool getOperationBit(const ObjectNamespace& ns, std::int32_t roleId,
                                       const Operation& operation) const;
    [[nodiscard]] bool getChildOperationBit(const ObjectNamespace& ns, std::int32_t roleId,
                                            const Operation& operation) const;

    /// Calls `visit(const ManagedObject& object, bool isNamed)` for the objects on the way from the root to
    /// `ns`, the root first: every ancestor that the cache holds, then the object named `ns` itself
    /// (`isNamed` true), if it is there. One walk down the trie finds them all, because the text of an
    /// ancestor is a prefix of the text, and so are its segments.
    template <typename Visitor>
    void visitPath(const ObjectNamespace& ns, Visitor&& visit) const;

private:
    friend class AccessCache;
    friend class detail::CacheWalk;
    explicit Reader(const AccessCache& cache);

    void captureHeader() noexcept
    {
        renewals_ = cache_.renewals_.load(std::memory_order_acquire);
        missingPages_ = cache_.missingPages_.load(std::memory_order_acquire);
        metadata_ = cache_.metadata_.view();
    }
    void captureViews() noexcept
    {
        objects_ = cache_.objects_.view();
        nodes_ = cache_.nodes_.view();
        segments_ = cache_.segments_.view();
    }
    void release() noexcept;
    /// Whether all that was captured belongs together.
    [[nodiscard]] bool isConsistent() const noexcept
    {
        return renewals_ % 2 == 0 && renewals_ == cache_.renewals_.load(std::memory_order_acquire);
    }
    [[nodiscard]] bool isReadable() const noexcept
    {
        const detail::MetadataHeader* const header = metadata_.find(0);
        return header != nullptr && header->writeInProgress == 0;
    }
    void requireReadable();
    [[nodiscard]] bool isWhole() const noexcept
    {
        return missingPages_ == cache_.missingPages_.load(std::memory_order_acquire);
    }
    [[nodiscard]] NodeOffset segmentRoot() const noexcept;
    void visitPath(const ObjectNamespace& ns, void (*visit)(void*, const ManagedObject&, bool),
                   void* visitor) const;
    [[nodiscard]] bool get_operation_bit(NodeOffset roleTree, std::int32_t roleId,
                                         const Operation& operation) const;
    [[noreturn]] void throwDamaged(const std::string& fileName, NodeOffset offset, const char* what) const;
    [[noreturn]] void throwUnreadable(const char* reason) const;
    [[noreturn]] void fail(const char* tag, std::string text) const;
    struct Untold;
    void tellWhenReleased(const char* tag, std::string text) const;

    const AccessCache& cache_;
    const FileLock& fileLock_;
    mutable std::shared_ptr<FileLockGuard> guard_; ///< replaced by one that also tells what went wrong
    std::uint64_t renewals_ = 0;                   ///< of the cache before anything was captured
    std::uint64_t missingPages_ = 0;               ///< of the cache before anything was read
    detail::RecordView<detail::MetadataHeader> metadata_;
    detail::RecordView<ManagedObject> objects_;
    detail::RecordView<detail::BitsNode> nodes_;
    detail::RecordView<detail::SegmentNode> segments_;
};

template <typename Visitor>
void AccessCache::Reader::visitPath(const ObjectNamespace& ns, Visitor&& visit) const
{
    using Plain = std::remove_reference_t<Visitor>;
    visitPath(
        ns,
        [](void* visitor, const ManagedObject& object, bool isNamed) {
            (*static_cast<Plain*>(visitor))(object, isNamed);
        },
        const_cast<void*>(static_cast<const void*>(std::addressof(visit))));
}

} // namespace Tessara::Keepsafe::Rbac

#endif
