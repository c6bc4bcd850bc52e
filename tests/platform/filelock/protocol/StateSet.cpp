#include <cstring>
#include <type_traits>

#include "Explorer.h"

namespace keepsafe_test::protocol {

namespace {

// Members of one byte each: no padding.
static_assert(std::is_trivially_copyable_v<State> && alignof(State) == 1);

constexpr std::size_t FIRST_SIZE = 1024;

std::uint64_t hashOf(const State& state) noexcept
{
    std::uint64_t words[(sizeof(State) + 7) / 8] = {};
    std::memcpy(words, &state, sizeof state);
    std::uint64_t hash = 0;
    for (const std::uint64_t word : words) {
        hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 29U;
    }
    return hash;
}

bool isSame(const State& a, const State& b) noexcept { return std::memcmp(&a, &b, sizeof a) == 0; }

} // namespace

StateSet::StateSet() : table_(FIRST_SIZE) {}

std::size_t StateSet::placeOf(const State& state) const
{
    std::size_t place = hashOf(state) & (table_.size() - 1);
    while (table_[place] != 0 && !isSame(states_[table_[place] - 1], state)) {
        place = (place + 1) & (table_.size() - 1);
    }
    return place;
}

std::uint32_t StateSet::add(const State& state)
{
    const std::size_t place = placeOf(state);
    if (table_[place] != 0) {
        return NOT_NEW;
    }
    states_.push_back(state);
    const auto number = static_cast<std::uint32_t>(states_.size());
    table_[place] = number;
    if (states_.size() * 2 > table_.size()) {
        grow();
    }
    return number - 1;
}

void StateSet::grow()
{
    table_.assign(table_.size() * 2, 0);
    for (std::size_t i = 0; i < states_.size(); ++i) {
        table_[placeOf(states_[i])] = static_cast<std::uint32_t>(i + 1);
    }
}

void StateSet::clear()
{
    states_.clear();
    table_.assign(FIRST_SIZE, 0);
}

} // namespace keepsafe_test::protocol
