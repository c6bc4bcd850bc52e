#ifndef KEEPSAFE_SANDBOX_GENERATE_RANDOM_NUMBERS_H
#define KEEPSAFE_SANDBOX_GENERATE_RANDOM_NUMBERS_H

#include <cstdint>

namespace keepsafe_sandbox {

/// SplitMix64: small, fast, and the same on every platform, unlike the standard's distributions.
class RandomNumbers {
public:
    explicit RandomNumbers(std::uint64_t seed) noexcept : state_(seed) {}

    std::uint64_t next() noexcept
    {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t value = state_;
        value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
        value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
        return value ^ (value >> 31U);
    }

    /// A number from 0 to `limit` - 1. The excess of small numbers is below `limit` / 2^64.
    unsigned below(unsigned limit) noexcept { return static_cast<unsigned>(next() % limit); }

private:
    std::uint64_t state_;
};

} // namespace keepsafe_sandbox

#endif
