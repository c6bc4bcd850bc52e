#ifndef KEEPSAFE_CACHE_WALK_ROLE_BLOCK_H
#define KEEPSAFE_CACHE_WALK_ROLE_BLOCK_H

#include <cstddef>
#include <cstdint>

#include <emmintrin.h>

namespace Tessara::Keepsafe::Rbac::detail {

/// A set of the roles of one block: bit i stands for the role at place i.
using RoleMask = std::uint32_t;

/// Up to `4 * Quads` ascending role ids, compared with a key all at once.
template <std::size_t Quads>
class RoleBlock {
public:
    static_assert(Quads == 2 || Quads == 4);

    /// `ids` are `4 * Quads` numbers.
    explicit RoleBlock(const std::int32_t* ids) noexcept
    {
        for (std::size_t i = 0; i < Quads; ++i) {
            quads_[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ids + 4 * i));
        }
    }

    [[nodiscard]] RoleMask below(std::int32_t key) const noexcept
    {
        const __m128i keys = _mm_set1_epi32(key);
        return maskOf([&](const __m128i& ids) { return _mm_cmpgt_epi32(keys, ids); });
    }
    [[nodiscard]] RoleMask equalTo(std::int32_t key) const noexcept
    {
        const __m128i keys = _mm_set1_epi32(key);
        return maskOf([&](const __m128i& ids) { return _mm_cmpeq_epi32(keys, ids); });
    }
    /// The roles that are among the keys.
    [[nodiscard]] RoleMask among(const std::int32_t* first, const std::int32_t* last) const noexcept
    {
        __m128i met[Quads] = {};
        for (; first != last; ++first) {
            const __m128i keys = _mm_set1_epi32(*first);
            for (std::size_t i = 0; i < Quads; ++i) {
                met[i] = _mm_or_si128(met[i], _mm_cmpeq_epi32(keys, quads_[i]));
            }
        }
        return maskOf(met);
    }

private:
    template <typename Compare>
    [[nodiscard]] RoleMask maskOf(const Compare& compare) const noexcept
    {
        __m128i lanes[Quads];
        for (std::size_t i = 0; i < Quads; ++i) {
            lanes[i] = compare(quads_[i]);
        }
        return maskOf(lanes);
    }
    /// Bits from lanes that are all ones or all zeros.
    [[nodiscard]] static RoleMask maskOf(const __m128i (&lanes)[Quads]) noexcept
    {
        const __m128i low = _mm_packs_epi32(lanes[0], lanes[1]);
        __m128i high = _mm_setzero_si128();
        if constexpr (Quads == 4) {
            high = _mm_packs_epi32(lanes[2], lanes[3]);
        }
        return static_cast<RoleMask>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    }

    __m128i quads_[Quads];
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
