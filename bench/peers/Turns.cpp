#include "peers/Turns.h"

#include <algorithm>
#include <utility>

#include "Measure.h"

namespace keepsafe_bench {

std::size_t Turns::add(std::function<double()> measure)
{
    entries_.push_back({std::move(measure), {}});
    return entries_.size() - 1;
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

Figures Turns::figures(std::size_t number) const
{
    const std::vector<double>& figures = entries_[number].figures;
    const auto [least, most] = std::minmax_element(figures.begin(), figures.end());
    return {median(figures), *least, *most};
}

} // namespace keepsafe_bench
