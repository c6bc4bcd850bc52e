#ifndef KEEPSAFE_SRC_PROCESS_FORKHANDLERS_H
#define KEEPSAFE_SRC_PROCESS_FORKHANDLERS_H

#include <mutex>
#include <new>

#include <pthread.h>

namespace Tessara::Keepsafe::Process {

/// What fork() calls from now on: before it, and after it in the parent and in the child. Handlers that are
/// registered later run earlier before a fork and later after it. Throws `std::bad_alloc`.
struct ForkHandlers {
    ForkHandlers(void (*before)(), void (*afterInParent)(), void (*afterInChild)())
    {
        if (pthread_atfork(before, afterInParent, afterInChild) != 0) {
            throw std::bad_alloc();
        }
    }
};

/// Mutexes that are held across a fork, so that a child never starts with one held by a thread that it does
/// not have. They are listed in locking order.
template <std::mutex&... MUTEXES>
struct HeldAcrossFork : ForkHandlers {
    HeldAcrossFork() : ForkHandlers(lock, unlock, unlock) {}

private:
    static void lock() { (MUTEXES.lock(), ...); }
    static void unlock() { (MUTEXES.unlock(), ...); }
};

} // namespace Tessara::Keepsafe::Process

#endif
