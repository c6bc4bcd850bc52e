#ifndef KEEPSAFE_CACHE_OPERATION_H
#define KEEPSAFE_CACHE_OPERATION_H

#include <cstdint>

namespace Tessara::Keepsafe::Rbac {

/// An operation as access caches know it: the number of its permission bit. Bit sets are divided into words
/// of 32 bits.
struct Operation {
    std::int32_t offset = 0;

    /// Key of the word that holds the bit: the offset, taken as unsigned, divided by 32.
    [[nodiscard]] constexpr std::int32_t wordIndex() const noexcept
    {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(offset) / 32U);
    }
    /// The bit's mask within its word.
    [[nodiscard]] constexpr std::uint32_t bitMask() const noexcept
    {
        return std::uint32_t{1} << (static_cast<std::uint32_t>(offset) % 32U);
    }
};

} // namespace Tessara::Keepsafe::Rbac

#endif
