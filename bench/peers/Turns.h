#ifndef KEEPSAFE_BENCH_PEERS_TURNS_H
#define KEEPSAFE_BENCH_PEERS_TURNS_H

#include <cstddef>
#include <functional>
#include <vector>

namespace keepsafe_bench {

/// Of the figures of all rounds.
struct Figures {
    double median;
    double min;
    double max;
};

/// Measurements that take turns, round by round, so that whatever slows the machine for a while slows all of
/// them.
class Turns {
public:
    explicit Turns(int rounds) : rounds_(rounds) {}

    /// `measure` does the work once and returns its figure. Returns the measurement's number.
    std::size_t add(std::function<double()> measure);
    /// One round that does not count, then the rounds.
    void run();
    [[nodiscard]] Figures figures(std::size_t number) const;

private:
    struct Entry {
        std::function<double()> measure;
        std::vector<double> figures;
    };

    int rounds_;
    std::vector<Entry> entries_;
};

} // namespace keepsafe_bench

#endif
