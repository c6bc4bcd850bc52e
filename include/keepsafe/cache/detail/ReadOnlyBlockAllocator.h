#ifndef KEEPSAFE_CACHE_DETAIL_READONLYBLOCKALLOCATOR_H
#define KEEPSAFE_CACHE_DETAIL_READONLYBLOCKALLOCATOR_H

#include <cstddef>

#include <keepsafe/cache/detail/MemoryMap.h>
#include <keepsafe/cache/detail/records.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// The records of one mapping, addressed by byte offset. Refers to the mapping; valid while that is.
template <typename T>
class RecordView {
public:
    RecordView() = default;
    explicit RecordView(const MappedRegion& region) noexcept
        : address_(region.address), end_(region.size - region.size % sizeof(T))
    {
    }

    /// The record that contains the byte at `offset`, or null when no whole record of the file does.
    [[nodiscard]] const T* find(NodeOffset offset) const noexcept
    {
        const std::size_t begin = beginOfRecord(offset);
        return __builtin_expect(begin < end_, 1) ? reinterpret_cast<const T*>(address_ + begin) : nullptr;
    }

    /// Number of whole records, the reserved first one included.
    [[nodiscard]] std::size_t count() const noexcept { return end_ / sizeof(T); }

private:
    [[nodiscard]] static std::size_t beginOfRecord(NodeOffset offset) noexcept
    {
        if constexpr ((sizeof(T) & (sizeof(T) - 1)) == 0) {
            return offset & ~(sizeof(T) - 1);
        } else {
            // Offsets into the middle of records are legal but rare. As a branch, the remainder only confirms
            // the address; the record is already being fetched. Where nothing but "is it zero" is asked, the
            // compiler needs one multiplication.
            return __builtin_expect(offset % sizeof(T) == 0, 1) ? offset : beginAround(offset);
        }
    }

    /// Of its own, so that the remainder has only one use where it is tested.
    [[nodiscard]] __attribute__((noinline, cold)) static std::size_t beginAround(NodeOffset offset) noexcept
    {
        return offset - offset % sizeof(T);
    }

    const std::byte* address_ = nullptr;
    std::size_t end_ = 0; ///< of the whole records
};

/// The typed view of one record file: turns the current mapping into a `RecordView`.
template <typename T>
class ReadOnlyBlockAllocator {
public:
    explicit ReadOnlyBlockAllocator(const MemoryMap& map) noexcept : map_(&map) {}

    [[nodiscard]] RecordView<T> view() const noexcept { return RecordView<T>(map_->region()); }

private:
    const MemoryMap* map_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
