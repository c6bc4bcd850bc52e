#ifndef KEEPSAFE_RBAC_QUESTIONS_WHOLEWALK_H
#define KEEPSAFE_RBAC_QUESTIONS_WHOLEWALK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <keepsafe/platform/status/status_codes.h>

#include "fail.h"

namespace Tessara::Keepsafe::Rbac {

/// The pieces of a walk through a whole trie. In a sound cache it meets each record once, or a few times when
/// the policy changes meanwhile. A trie with shared levels can hold more names than could ever be listed; it
/// is damaged.
class WholeWalk {
public:
    /// A piece that visited some records of a trie. Throws `EC_exception` 12 when it was too many in all.
    void add(std::size_t visited, std::size_t records)
    {
        visited_ += visited;
        records_ = std::max<std::uint64_t>(records_, records);
        if (visited_ > MOST_WALKS * records_ + SMALL) {
            diagnostics::fail(Status::CACHE_UNUSABLE, "AccessCache",
                              "The cache is damaged: segments: more names than records");
        }
    }

private:
    static constexpr std::uint64_t MOST_WALKS = 16;
    static constexpr std::uint64_t SMALL = 1U << 20U;

    std::uint64_t visited_ = 0;
    std::uint64_t records_ = 0;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
