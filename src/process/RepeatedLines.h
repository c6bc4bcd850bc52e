#ifndef KEEPSAFE_SRC_PROCESS_REPEATEDLINES_H
#define KEEPSAFE_SRC_PROCESS_REPEATEDLINES_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "CoarseClock.h"

namespace Tessara::Keepsafe::Process {

/// Lets each log line pass once a second: a cache that cannot be read and is asked a million times a second
/// must not fill the disk with one line. Any thread, and the child of a fork: nothing is locked or allocated.
///
/// Knows 64 different lines at a time; others pass. Lines are told apart by a hash of 64 bits.
class RepeatedLines {
public:
    /// How many equal lines were held back since this one last passed. Nothing: it passed less than a second
    /// ago, and is to be held back, too.
    [[nodiscard]] std::optional<std::uint64_t> admit(std::string_view line) noexcept
    {
        const std::int64_t now = coarseMilliseconds();
        Place* const place = placeOf(std::hash<std::string_view>()(line) | 1U, now);
        return place == nullptr ? 0 : place->admit(now);
    }

private:
    static constexpr std::int64_t PERIOD_MS = 1000;
    static constexpr std::size_t MOST = 64;

    struct Place {
        std::atomic<std::uint64_t> hash{0}; ///< 0: never used
        std::atomic<std::int64_t> nextMs{0};
        std::atomic<std::uint64_t> heldBack{0};

        [[nodiscard]] bool isFree(std::int64_t now) const noexcept { return now >= nextMs.load(); }
        std::optional<std::uint64_t> admit(std::int64_t now) noexcept
        {
            std::int64_t next = nextMs.load();
            if (now >= next && nextMs.compare_exchange_strong(next, now + PERIOD_MS)) {
                return heldBack.exchange(0);
            }
            ++heldBack;
            return std::nullopt;
        }
    };

    /// The line's place, or one that no line has used for a second. Null: there is none.
    Place* placeOf(std::uint64_t hash, std::int64_t now) noexcept
    {
        Place* place = find(hash);
        while (place == nullptr) {
            Place* const free = findFree(now);
            if (free == nullptr) {
                return nullptr;
            }
            std::uint64_t before = free->hash.load();
            if (free->isFree(now) && free->hash.compare_exchange_strong(before, hash)) {
                free->heldBack = 0;
                return free;
            }
            place = find(hash); // another thread may have brought it in
        }
        return place;
    }
    Place* find(std::uint64_t hash) noexcept
    {
        for (Place& place : places_) {
            if (place.hash.load() == hash) {
                return &place;
            }
        }
        return nullptr;
    }
    Place* findFree(std::int64_t now) noexcept
    {
        for (Place& place : places_) {
            if (place.isFree(now)) {
                return &place;
            }
        }
        return nullptr;
    }

    std::array<Place, MOST> places_;
};

} // namespace Tessara::Keepsafe::Process

#endif
