#ifndef KEEPSAFE_CACHE_DETAIL_MEMORYMAP_H
#define KEEPSAFE_CACHE_DETAIL_MEMORYMAP_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// One mapping of a file: `size` bytes from `address`, which is null when `size` is 0.
struct MappedRegion {
    const std::byte* address = nullptr;
    std::size_t size = 0;
};

/// A file mapped read-only and shared, so that bytes that the writer changes in place are seen.
///
/// Threads: `region()`, `size()` and `current_size()` may be called at any time from any thread. The caller
/// must serialise `map`, `unmap`, `refresh` and `releaseRetired`.
///
/// Failing system calls throw `std::runtime_error` ("error opening file", "error statting file", "error
/// mapping file") after a line on standard error that names the path and the reason.
class KEEPSAFE_API MemoryMap {
public:
    /// Opens and maps the file. An empty file is legal and maps to nothing.
    explicit MemoryMap(const std::string& path);
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
    /// Releases retired mappings. No thread may be using them any more.
    void releaseRetired() noexcept;

    /// The file's size at this moment, in bytes.
    [[nodiscard]] std::size_t current_size() const;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// The current mapping: address and size always belong together.
    [[nodiscard]] MappedRegion region() const noexcept { return *region_.load(); }
    [[nodiscard]] const std::byte* address() const noexcept { return region().address; }
    /// The size that was mapped, in bytes.
    [[nodiscard]] std::size_t size() const noexcept { return region().size; }

private:
    struct Mapping; ///< owns one mapping and releases it

    [[nodiscard]] std::unique_ptr<Mapping> mapCurrent() const;
    void publish(std::unique_ptr<Mapping> mapping) noexcept;

    std::string path_;
    int fd_ = -1;
    std::unique_ptr<Mapping> current_;
    /// INVARIANT: that of `current_`, for readers in other threads. Sequentially consistent: who may still
    /// use the previous one is determined after the new one is in place.
    std::atomic<const MappedRegion*> region_;
    std::vector<std::unique_ptr<Mapping>> retired_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
