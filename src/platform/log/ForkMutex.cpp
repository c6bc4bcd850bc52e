#include "ForkMutex.h"

#include <pthread.h>

namespace Tessara::Keepsafe::Platform::detail {
namespace {

pthread_mutex_t sinkMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t syslogMutex = PTHREAD_MUTEX_INITIALIZER;

void lockAll()
{
    SyslogMutex::lock();
    SinkMutex::lock();
}

void unlockAll()
{
    SinkMutex::unlock();
    SyslogMutex::unlock();
}

// Registered while the library is loaded, before any module above this one can register its own handlers:
// those then run first before a fork and last after it, and may log.
[[maybe_unused]] const int registered = pthread_atfork(lockAll, unlockAll, unlockAll);

} // namespace

void SinkMutex::lock() noexcept { pthread_mutex_lock(&sinkMutex); }
void SinkMutex::unlock() noexcept { pthread_mutex_unlock(&sinkMutex); }
void SyslogMutex::lock() noexcept { pthread_mutex_lock(&syslogMutex); }
void SyslogMutex::unlock() noexcept { pthread_mutex_unlock(&syslogMutex); }

} // namespace Tessara::Keepsafe::Platform::detail
