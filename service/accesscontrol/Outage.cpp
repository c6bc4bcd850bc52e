#include "accesscontrol/Outage.h"

#include "cachewriter/utc_time.h"

namespace keepsafe_service {

std::string Outage::text() const
{
    return "since " + utcTime(since_) + " the access cache cannot be published: " + reason_;
}

std::string Outage::failed(const std::string& reason)
{
    if (!isOn()) {
        since_ = std::chrono::system_clock::now();
    }
    const bool isNews = !isOn() || reason != reason_;
    reason_ = reason;
    ++attempts_;
    return isNews ? text() + "; it is tried again until it succeeds" : "";
}

std::string Outage::succeeded()
{
    if (!isOn()) {
        return "";
    }
    std::string line = "the access cache is published again; it was outdated since " + utcTime(since_) +
                       ", and " + std::to_string(attempts_) + " attempts had failed";
    *this = Outage();
    return line;
}

} // namespace keepsafe_service
