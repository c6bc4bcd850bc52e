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
        : address_(region.address), wholeRecords_(region.size / sizeof(T))
    {
    }

    /// The record that contains the byte at `offset`, or null when no whole record of the file does.
    [[nodiscard]] const T* find(NodeOffset offset) const noexcept
    {
        const std::size_t index = offset / sizeof(T);
        return index < wholeRecords_ ? reinterpret_cast<const T*>(address_) + index : nullptr;
    }

    /// Number of whole records, the reserved first one included.
    [[nodiscard]] std::size_t count() const noexcept { return wholeRecords_; }

private:
    const std::byte* address_ = nullptr;
    std::size_t wholeRecords_ = 0;
};

/// The typed view of one record file: turns the mapping of the moment into a `RecordView`.
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
