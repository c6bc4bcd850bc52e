#include "support/SmallStackThread.h"

#include <stdexcept>

#include <pthread.h>

namespace keepsafe_test {

namespace {

/// What a sanitizer takes from every thread's stack for its own state.
constexpr std::size_t OF_INSTRUMENTATION = KEEPSAFE_INSTRUMENTATION_KIB;

void* call(void* work)
{
    (*static_cast<const std::function<void()>*>(work))();
    return nullptr;
}

} // namespace

void runOnSmallStack(const std::function<void()>& work, std::size_t kib)
{
    pthread_attr_t attributes;
    pthread_t thread;
    std::function<void()> copy = work;
    const bool started = pthread_attr_init(&attributes) == 0 &&
                         pthread_attr_setstacksize(&attributes, (kib + OF_INSTRUMENTATION) * 1024) == 0 &&
                         pthread_create(&thread, &attributes, call, &copy) == 0;
    pthread_attr_destroy(&attributes);
    if (!started) {
        throw std::runtime_error("cannot start a thread with a small stack");
    }
    pthread_join(thread, nullptr);
}

} // namespace keepsafe_test
