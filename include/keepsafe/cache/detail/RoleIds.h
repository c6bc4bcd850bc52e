#ifndef KEEPSAFE_CACHE_DETAIL_ROLEIDS_H
#define KEEPSAFE_CACHE_DETAIL_ROLEIDS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

namespace Tessara::Keepsafe::Rbac::detail {

/// A set of role ids, laid out for repeated iteration: ascending and contiguous. Sets of usual size are
/// stored in the object itself, so that a caller's roles are next to their owner in memory. Immutable.
class RoleIds {
public:
    explicit RoleIds(const std::set<int>& ids) : count_(ids.size())
    {
        if (count_ <= few_.size()) {
            std::copy(ids.begin(), ids.end(), few_.begin());
        } else {
            many_.assign(ids.begin(), ids.end());
        }
    }

    [[nodiscard]] const std::int32_t* begin() const noexcept
    {
        return count_ <= few_.size() ? few_.data() : many_.data();
    }
    [[nodiscard]] const std::int32_t* end() const noexcept { return begin() + count_; }

private:
    std::size_t count_;
    std::array<std::int32_t, 16> few_{};
    std::vector<std::int32_t> many_; ///< all of them when they are more than that
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
