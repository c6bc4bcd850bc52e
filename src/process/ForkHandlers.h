#ifndef KEEPSAFE_SRC_PROCESS_FORKHANDLERS_H
#define KEEPSAFE_SRC_PROCESS_FORKHANDLERS_H

#include <mutex>
#include <new>

#include <pthread.h>

namespace Tessara::Keepsafe::Process {

/// What fork() calls from now on: before it, and after it in the parent and in the child. Handlers that are
/// registered later run earlier before a fork and later after it. Throws `std::bad_alloc`.
///
/// Made when the library is loaded: at namespace scope or as a static member. The same holds for everything
/// else that several threads use and that is initialised dynamically, unless that happens under a mutex that
/// is held across forks. What is made at first use is made by one thread; if another one forks meanwhile, the
/// child finds the mutex locked, or the initialisation begun, for ever.
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
