#include "Turns.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace keepsafe_bench {

void require(bool holds, const char* what)
{
    if (!holds) {
        throw std::runtime_error(std::string("it does not hold that ") + what);
    }
}

Figures figuresOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const auto at = [&values](std::size_t quarters) { return values[(values.size() - 1) * quarters / 4]; };
    return {values[values.size() / 2], at(1), at(3), values.front(), values.back()};
}

std::size_t Turns::add(std::function<double()> measure)
{
    entries_.push_back({std::move(measure), {}});
    return entries_.size() - 1;
}

std::size_t Turns::add(std::size_t count, std::function<void()> work)
{
    return add([count, work = std::move(work)] { return nanosecondsOf(work) / static_cast<double>(count); });
}

void Turns::run()
{
    for (int round = -1; round < rounds_; ++round) {
        for (Entry& entry : entries_) {
            const double figure = entry.measure();
            if (round >= 0) {
                entry.figures.push_back(figure);
            }
        }
    }
}

} // namespace keepsafe_bench
