#ifndef KEEPSAFE_BENCH_TURNS_H
#define KEEPSAFE_BENCH_TURNS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

namespace keepsafe_bench {

/// Nanoseconds for one call of `work`.
template <typename Work>
double nanosecondsOf(const Work& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

/// Work that calls `work` `count` times.
template <typename Work>
std::function<void()> times(std::size_t count, Work work)
{
    return [count, work] {
        for (std::size_t i = 0; i < count; ++i) {
            work();
        }
    };
}

/// Throws `std::runtime_error` that names what does not hold: a benchmark of wrong answers means nothing.
void require(bool holds, const char* what);

/// A measurement's figures over all rounds. Half of them are between `low` and `high`.
struct Figures {
    double median;
    double low;
    double high;
    double min;
    double max;
};

/// Of at least one value.
Figures figuresOf(std::vector<double> values);

/// Measurements that take turns, round by round, so that whatever slows the machine for a while slows all of
/// them.
class Turns {
public:
    explicit Turns(int rounds) : rounds_(rounds) {}

    /// `measure` does the work once and returns its figure. Returns the measurement's number.
    std::size_t add(std::function<double()> measure);
    /// `work` does `count` operations; the figure is nanoseconds for one of them.
    std::size_t add(std::size_t count, std::function<void()> work);
    /// One round that does not count, then the rounds.
    void run();
    [[nodiscard]] Figures figures(std::size_t number) const { return figuresOf(entries_[number].figures); }

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
