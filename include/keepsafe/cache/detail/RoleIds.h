#ifndef KEEPSAFE_CACHE_DETAIL_ROLEIDS_H
#define KEEPSAFE_CACHE_DETAIL_ROLEIDS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

namespace Tessara::Keepsafe::Rbac::detail {

/// A set of role ids, laid out for searching: ascending, in blocks that are compared with a key at once. The
/// first block lies in the object itself, so that the roles of nearly every caller are found together with
/// what holds them. Immutable.
class RoleIds {
public:
    static constexpr std::size_t BLOCK = 16;

    explicit RoleIds(const std::set<int>& ids) : count_(ids.size())
    {
        auto id = ids.begin();
        for (std::size_t i = 0; i < BLOCK && id != ids.end(); ++i) {
            first_[i] = *id++;
        }
        if (count_ > BLOCK) {
            others_.reserve(BLOCK * (blocks() - 1));
            others_.assign(id, ids.end());
            others_.resize(BLOCK * (blocks() - 1)); // whole blocks
        }
    }

    [[nodiscard]] std::size_t blocks() const noexcept { return (count_ + BLOCK - 1) / BLOCK; }
    /// `BLOCK` numbers, of which the first `sizeOf(number)` are ids.
    [[nodiscard]] const std::int32_t* block(std::size_t number) const noexcept
    {
        return number == 0 ? first_.data() : others_.data() + BLOCK * (number - 1);
    }
    [[nodiscard]] std::size_t sizeOf(std::size_t number) const noexcept
    {
        const std::size_t left = count_ - BLOCK * number;
        return left < BLOCK ? left : BLOCK;
    }

private:
    std::size_t count_;
    std::array<std::int32_t, BLOCK> first_{};
    std::vector<std::int32_t> others_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
