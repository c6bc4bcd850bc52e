#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_RETRY_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_RETRY_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace keepsafe_service {

/// The pauses before repeated attempts: each is twice as long as the one before.
struct RetryPauses {
    std::chrono::milliseconds first{100};
    std::chrono::milliseconds longest{30'000};
};

/// Repeats what has failed until it succeeds, in a thread of its own, which is made when it is first needed.
class Retry {
public:
    /// `attempt` says whether it has succeeded, throws nothing, and is called without any lock of this
    /// object.
    Retry(std::function<bool()> attempt, const RetryPauses& pauses)
        : attempt_(std::move(attempt)), pauses_(pauses)
    {
    }
    /// Waits for an attempt that is under way; there are no more.
    ~Retry();
    Retry(const Retry&) = delete;
    Retry& operator=(const Retry&) = delete;

    /// Something has failed. No effect while attempts are being made. Any thread. Throws `std::system_error`
    /// when there can be no thread; the next call tries again.
    void begin();

private:
    void run();

    const std::function<bool()> attempt_;
    const RetryPauses pauses_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isNeeded_ = false;
    bool isEnding_ = false;
    std::thread thread_;
};

} // namespace keepsafe_service

#endif
