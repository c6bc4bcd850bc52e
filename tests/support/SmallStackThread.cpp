#include "jwt/SmallStackThread.h"

#include <cstddef>
#include <stdexcept>

#include <pthread.h>

namespace keepsafe_test {

namespace {

/// KEEPSAFE_INSTRUMENTATION_KIB is what a sanitizer takes from every thread's stack for its own state.
constexpr std::size_t STACK_BYTES = std::size_t{256 + KEEPSAFE_INSTRUMENTATION_KIB} * 1024;

void* call(void* work)
{
    (*static_cast<const std::function<void()>*>(work))();
    return nullptr;
}

} // namespace

void runOnSmallStack(const std::function<void()>& work)
{
    pthread_attr_t attributes;
    pthread_t thread;
    std::function<void()> copy = work;
    const bool started = pthread_attr_init(&attributes) == 0 &&
                         pthread_attr_setstacksize(&attributes, STACK_BYTES) == 0 &&
                         pthread_create(&thread, &attributes, call, &copy) == 0;
    pthread_attr_destroy(&attributes);
    if (!started) {
        throw std::runtime_error("cannot start a thread with a small stack");
    }
    pthread_join(thread, nullptr);
}

} // namespace keepsafe_test
