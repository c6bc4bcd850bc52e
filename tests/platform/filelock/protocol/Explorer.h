#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_EXPLORER_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_PROTOCOL_EXPLORER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Model.h"

namespace keepsafe_test::protocol {

/// A set of states that numbers them in the order in which they were added.
class StateSet {
public:
    static constexpr std::uint32_t NOT_NEW = 0xFFFFFFFF;

    StateSet();

    /// The state's number, or `NOT_NEW`.
    std::uint32_t add(const State& state);
    [[nodiscard]] const State& operator[](std::size_t number) const { return states_[number]; }
    [[nodiscard]] std::size_t size() const { return states_.size(); }
    void clear();

private:
    void grow();
    [[nodiscard]] std::size_t placeOf(const State& state) const;

    std::vector<State> states_;
    std::vector<std::uint32_t> table_; ///< open addressing; one more than the number, 0: free
};

/// What a search has found.
struct Exploration {
    std::size_t states = 0;
    std::size_t steps = 0;
    std::size_t writersInside = 0; ///< states in which a writer is between its first and last change
    std::size_t readersInside = 0; ///< states in which somebody reads by a slot
    /// Which rule is broken; empty: none.
    std::string broken;
    /// The shortest way there, a line for each step.
    std::string trace;
};

/// Goes through all states that can be reached, those with the fewest steps first, and stops at the first one
/// that breaks a rule. Rules of progress are asked about only when `askProgress`.
Exploration explore(const Configuration& configuration, bool askProgress = true);

} // namespace keepsafe_test::protocol

#endif
