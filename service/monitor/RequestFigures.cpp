#include "monitor/RequestFigures.h"

#include <algorithm>

namespace keepsafe_service {

void RequestFigures::count(const std::string& resource, const std::string& method, int status,
                           std::chrono::duration<double> duration)
{
    constexpr int ofClass = 100;
    const auto statusClass = static_cast<std::size_t>(std::clamp(status / ofClass, 1, int(CLASSES))) - 1;
    const auto bucket =
        static_cast<std::size_t>(std::lower_bound(ENDS.begin(), ENDS.end(), duration.count()) - ENDS.begin());
    const std::lock_guard<std::mutex> lock(mutex_);
    Figure& figure = figures_[{resource, method}];
    ++figure.byClass[statusClass];
    ++figure.byDuration[bucket];
    figure.seconds += duration.count();
}

RequestFigures::Figures RequestFigures::figures() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return figures_;
}

} // namespace keepsafe_service
