#ifndef KEEPSAFE_SERVICE_THREADS_REPEATEDWORK_H
#define KEEPSAFE_SERVICE_THREADS_REPEATEDWORK_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace keepsafe_service {

/// Does the same work again and again, in a thread of its own, until the object ends.
class RepeatedWork {
public:
    struct Pauses {
        std::chrono::microseconds first; ///< before the work is done for the first time
        std::chrono::microseconds between;
    };

    /// `work` throws nothing. Throws `std::system_error` when there can be no thread.
    RepeatedWork(const Pauses& pauses, std::function<void()> work);
    /// Ends a pause at once, and waits for work that is under way.
    ~RepeatedWork();
    RepeatedWork(const RepeatedWork&) = delete;
    RepeatedWork& operator=(const RepeatedWork&) = delete;

private:
    void run(const Pauses& pauses);

    const std::function<void()> work_;
    std::mutex mutex_;
    std::condition_variable ending_;
    bool isEnding_ = false;
    std::thread thread_; ///< last: it uses the others
};

} // namespace keepsafe_service

#endif
