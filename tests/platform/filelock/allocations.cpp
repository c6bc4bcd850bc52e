#include "allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count{0};

} // namespace

// In a separate file: a compiler that inlines them into their callers takes them for mismatched.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    count.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size != 0 ? size : 1);
}
void* operator new(std::size_t size)
{
    if (void* memory = operator new(size, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace keepsafe_test {

std::size_t allocations() noexcept { return count.load(std::memory_order_relaxed); }

} // namespace keepsafe_test
