#ifndef KEEPSAFE_BENCH_PEERS_MEMORYLOADS_H
#define KEEPSAFE_BENCH_PEERS_MEMORYLOADS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "peers/UncheckedWalk.h"
#include "questions/Questions.h"

namespace keepsafe_bench {

/// The floor of a check: reads the memory that the decision has to read, and decides nothing. Of each
/// question these are the name, the caller, and each cache line of the cache's records once.
class MemoryLoads {
public:
    MemoryLoads(const std::string& cacheDirectory, const Questions& questions);

    enum class Order {
        AsInAWalk, ///< on the way down the name each waits for the one before, which leads to it
        AtOnce     ///< none waits for another: what many walks at the same time can hope for
    };

    /// Reads for all questions.
    void read(Order order) const;
    /// Cache lines of the cache's records for one question, on average.
    [[nodiscard]] double linesPerQuestion() const;

private:
    /// Numbers of cache lines from `base_` on, in `lines_`: `dependent` of them, then `independent` ones.
    struct Plan {
        std::uint16_t dependent;
        std::uint16_t independent;
    };

    void add(const PeerQuestion& question);
    [[nodiscard]] std::uint32_t numberOf(std::uintptr_t line) const;

    UncheckedWalk walk_;
    const Questions& questions_;
    std::uintptr_t base_ = 0;
    std::vector<Plan> plans_;
    std::vector<std::uint32_t> lines_;
};

} // namespace keepsafe_bench

#endif
