#ifndef KEEPSAFE_CACHE_DETAIL_MEMORYMAP_H
#define KEEPSAFE_CACHE_DETAIL_MEMORYMAP_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// One mapping of a file: `size` bytes from `address`, which is null when `size` is 0.
struct MappedRegion {
    const std::byte* address = nullptr;
    std::size_t size = 0;
};

/// Counts the pages of mappings that turned out to be missing because their file was cut short. Whoever finds
/// the same number before it begins to read and after it has read has read nothing but the files' bytes.
using MissingPages = std::atomic<std::uint64_t>;

/// A file mapped read-only and shared, so that bytes that the writer changes in place are seen.
///
/// Threads: `region()`, `address()`, `size()` and `current_size()` may be called at any time from any thread,
/// but a region is valid only until the first `releaseRetired` after it was replaced. The caller must
/// serialise all other functions.
///
/// A file that is cut short under its mapping reads as zeros beyond its end, and the missing pages are
/// counted; `MappingGuard` says when SIGBUS ends the process instead.
///
/// Failing system calls throw `std::runtime_error` ("error opening file", "error statting file", "error
/// mapping file") after a line on standard error that names the path and the reason.
class KEEPSAFE_API MemoryMap {
public:
    /// What has become of the file since it was mapped.
    enum class Change {
        None,
        Size,     ///< it has another size
        Replaced, ///< another file is at the path, or the descriptor is someone else's
        Gone      ///< nothing is at the path
    };

    /// Opens and maps the file. An empty file is legal and maps to nothing. `missingPages`, if given, must
    /// outlive the object; without it missing pages are not counted.
    explicit MemoryMap(const std::string& path, MissingPages* missingPages = nullptr);
    ~MemoryMap();
    MemoryMap(const MemoryMap&) = delete;
    MemoryMap& operator=(const MemoryMap&) = delete;

    /// Maps the file as it is now; nothing must be mapped.
    void map();
    /// Releases the mapping, if there is one.
    void unmap();
    /// Maps the file again if its size has changed; otherwise does nothing. The previous mapping is retired,
    /// not released: other threads may still read through it.
    void refresh();
    /// Opens and maps the file that is at the path now. The previous mapping is retired.
    void reopen();
    /// Releases retired mappings. No thread may be using them any more.
    void releaseRetired() noexcept;

    /// The file's size at this moment, in bytes.
    [[nodiscard]] std::size_t current_size() const;
    /// By the descriptor: one system call. Never `Gone`.
    [[nodiscard]] Change change() const;
    /// By the path: one system call, which takes longer.
    [[nodiscard]] Change changeAtPath() const;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// The current mapping: address and size always belong together.
    [[nodiscard]] MappedRegion region() const noexcept { return *region_.load(); }
    [[nodiscard]] const std::byte* address() const noexcept { return region().address; }
    /// The size that was mapped, in bytes.
    [[nodiscard]] std::size_t size() const noexcept { return size_.load(std::memory_order_relaxed); }

private:
    struct Mapping; ///< owns one mapping and releases it

    void remember(const struct stat& status) noexcept;
    [[nodiscard]] bool isThisFile(const struct stat& status) const noexcept;
    [[nodiscard]] bool isStillOpen() const noexcept;
    [[nodiscard]] Change changeTo(const struct stat& status) const noexcept;
    [[nodiscard]] std::unique_ptr<Mapping> mapFile(int descriptor) const;
    void replace(std::unique_ptr<Mapping> mapping) noexcept;
    void publish(std::unique_ptr<Mapping> mapping) noexcept;

    std::string path_;
    std::atomic<int> fd_{-1};
    /// Of the file that was opened: a host program may close the descriptor and get its number again.
    std::atomic<std::uint64_t> device_{0};
    std::atomic<std::uint64_t> inode_{0};
    MissingPages* missingPages_;
    std::unique_ptr<Mapping> current_;
    /// INVARIANT: that of `current_`, for readers in other threads. Sequentially consistent: who may still
    /// use the previous one is determined after the new one is in place.
    std::atomic<const MappedRegion*> region_;
    std::atomic<std::size_t> size_{0}; ///< of the region, for those who do not hold it
    std::vector<std::unique_ptr<Mapping>> retired_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
