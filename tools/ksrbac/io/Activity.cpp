#include "io/Activity.h"

#include <csignal>
#include <system_error>

namespace ksrbac {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds BETWEEN{1000};

// A pause begins where nobody knows the activity: guarded by the mutex, as what an activity shows.
std::mutex mutex;
Console* shownOn = nullptr;
int pauses = 0;

/// During its lifetime this thread takes no signals, nor do those that it starts.
class SignalsBlocked {
public:
    SignalsBlocked() noexcept
    {
        sigset_t all;
        sigfillset(&all);
        (void)pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { (void)pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

} // namespace

Activity::Activity(Console& console, std::chrono::milliseconds silence) : console_(console)
{
    if (!console.canShowProgress()) {
        return;
    }
    const SignalsBlocked blocked; // the program's handlers expect to interrupt what it waits for
    try {
        thread_ = std::thread([this, silence] { show(silence); });
    } catch (const std::system_error&) {
        return; // the answer matters more
    }
}

Activity::~Activity()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isEnding_ = true;
    }
    ending_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Activity::show(std::chrono::milliseconds silence)
{
    const Clock::time_point begin = Clock::now();
    std::unique_lock<std::mutex> lock(mutex);
    shownOn = &console_;
    for (Clock::time_point next = begin + silence;
         !ending_.wait_until(lock, next, [this] { return isEnding_; }); next += BETWEEN) {
        if (pauses == 0) {
            console_.showActivity(std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin));
        }
    }
    shownOn = nullptr;
    console_.hideActivity();
}

Activity::Pause::Pause()
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++pauses;
    if (shownOn != nullptr) {
        shownOn->hideActivity();
    }
}

Activity::Pause::~Pause()
{
    const std::lock_guard<std::mutex> lock(mutex);
    --pauses;
}

} // namespace ksrbac
