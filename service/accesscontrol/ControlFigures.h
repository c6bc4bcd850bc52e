#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_CONTROLFIGURES_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_CONTROLFIGURES_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace keepsafe_service {

/// What the access control counts, for monitoring. It is there so that who reads it takes none of the locks
/// under which changes are made. Any thread.
class ControlFigures {
public:
    /// The access cache is not what the store says.
    struct Outdated {
        std::chrono::system_clock::time_point since;
        std::string reason;
    };

    std::atomic<std::uint64_t> publications{0}; ///< of the access cache
    std::atomic<std::uint64_t> failures{0};     ///< attempts to publish it
    std::atomic<std::size_t> roles{0};
    std::atomic<std::size_t> operations{0};
    std::atomic<std::size_t> objects{0};
    std::atomic<std::size_t> definitions{0};

    [[nodiscard]] std::optional<Outdated> outdated() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return outdated_;
    }
    /// What is outdated already keeps the time since when it is.
    void setOutdated(std::string reason)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto since = outdated_ ? outdated_->since : std::chrono::system_clock::now();
        outdated_ = {since, std::move(reason)};
    }
    void setCurrent()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        outdated_.reset();
    }

private:
    mutable std::mutex mutex_; ///< held for no longer than a copy takes
    std::optional<Outdated> outdated_;
};

} // namespace keepsafe_service

#endif
