#ifndef KEEPSAFE_CACHE_WALK_ROWDECISION_H
#define KEEPSAFE_CACHE_WALK_ROWDECISION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "CacheWalk.h"
#include "MetObject.h"
#include "RowQuestion.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// Names of a row and where their answers go, 1 or 0 for each question. An empty text stands for a name that
/// is not asked about: its answers are 0.
struct RowPiece {
    const std::string_view* texts;
    std::size_t count;
    std::uint8_t* answers;      ///< those of the first name
    std::size_t stride;         ///< from the answers of a name to those of the next
    const std::size_t* columns; ///< where among the answers of a name that of each question is
};

/// When the lock has to be released. The clock costs as much as a short walk, so it is looked at now and
/// then.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(Clock::time_point at) noexcept : at_(at) {}
    [[nodiscard]] static Deadline never() noexcept { return Deadline(Clock::time_point::max()); }

    /// To be asked before each name; `begun` names were begun before it.
    [[nodiscard]] bool hasPassed(std::size_t begun) const noexcept
    {
        constexpr std::size_t NAMES_BETWEEN_LOOKS = 16;
        return begun != 0 && begun % NAMES_BETWEEN_LOOKS == 0 && at_ != Clock::time_point::max() &&
               Clock::now() >= at_;
    }

private:
    Clock::time_point at_;
};

/// Answers the questions about a name from the objects on the way to it, the root first.
class RowDecision {
public:
    RowDecision(const CacheWalk& walk, std::vector<RowQuestion>& questions, const RowPiece& piece) noexcept
        : walk_(walk), questions_(questions), piece_(piece)
    {
    }

    [[nodiscard]] const CacheWalk& walk() const noexcept { return walk_; }
    [[nodiscard]] const RowPiece& piece() const noexcept { return piece_; }

    /// Throws when a role tree is damaged.
    void decide(std::size_t index, const MetObject* first, const MetObject* last) const
    {
        const std::size_t textLength = piece_.texts[index].size();
        for (std::size_t q = 0; q < questions_.size(); ++q) {
            bool isAllowed = false;
            // As in `DecidingPath`; through its visitor an ascending row would take a seventh longer.
            for (const MetObject* met = last; met != first;) {
                --met;
                isAllowed = questions_[q].isGranted(walk_, met->countingTree(textLength));
                if (isAllowed || met->object->inherit == 0) {
                    break;
                }
            }
            piece_.answers[index * piece_.stride + piece_.columns[q]] = isAllowed ? 1 : 0;
        }
    }

    /// The same for a name of any depth, from the beginning.
    void decideAfresh(std::size_t index) const
    {
        std::vector<MetObject> met;
        walk_.visitNames(piece_.texts[index],
                         [&met](const ManagedObject& object, bool /*isNamed*/, std::size_t length) {
                             met.push_back({&object, length});
                         });
        decide(index, met.data(), met.data() + met.size());
    }

    /// Whether the first question, and so most of them, must still be asked there.
    [[nodiscard]] bool needs(NodeOffset roleTree) const noexcept
    {
        return !questions_.front().remembers(roleTree);
    }

private:
    const CacheWalk& walk_;
    std::vector<RowQuestion>& questions_;
    const RowPiece& piece_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
