#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_CHILD_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_CHILD_H

#include <functional>
#include <new>

#include <sys/mman.h>
#include <sys/types.h>

namespace filelock_stress {

/// A forked process that runs one function and ends. It dies with its parent. The parent must not have used
/// a lock or a thread before, so that the child is as good as a new program.
class Child {
public:
    explicit Child(const std::function<void()>& work);
    Child(Child&& other) noexcept;
    Child& operator=(Child&& other) noexcept;
    /// Kills it if it still runs.
    ~Child();

    void signal(int number) const;
    /// Waits until a `SIGSTOP` has stopped it. False: it has ended instead.
    [[nodiscard]] bool waitUntilStopped();
    /// Whether it ended by itself with status 0.
    [[nodiscard]] bool endsWell();
    /// Kills it without a chance to clean up. Returns whether it had still been running.
    bool kill() noexcept;

private:
    pid_t pid_ = -1;
};

/// Memory that parent and children share. T must be usable when all its bytes are zero.
template <typename T>
class Shared {
public:
    Shared() : memory_(mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (memory_ == MAP_FAILED) {
            throw std::bad_alloc();
        }
        new (memory_) T();
    }
    ~Shared() { munmap(memory_, sizeof(T)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    T* operator->() const noexcept { return static_cast<T*>(memory_); }
    T& operator*() const noexcept { return *static_cast<T*>(memory_); }

private:
    void* memory_;
};

} // namespace filelock_stress

#endif
