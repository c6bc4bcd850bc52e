#include "monitor/ServiceHealth.h"

#include "cachewriter/utc_time.h"

namespace keepsafe_service {

void ServiceHealth::setDatabaseFault(std::optional<std::string> fault)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    databaseFault_ = std::move(fault);
}

bool ServiceHealth::isDatabaseThere() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return !databaseFault_;
}

std::vector<std::string> ServiceHealth::faults() const
{
    std::vector<std::string> faults;
    if (phase_ == Phase::Starting) {
        faults.emplace_back("the service is starting");
    } else if (phase_ == Phase::Ending) {
        faults.emplace_back("the service is ending");
    }
    if (const auto outdated = control_.outdated()) {
        faults.push_back("the access cache is outdated since " + utcTime(outdated->since) + ": " +
                         outdated->reason);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (databaseFault_) {
        faults.push_back(*databaseFault_);
    }
    return faults;
}

} // namespace keepsafe_service
