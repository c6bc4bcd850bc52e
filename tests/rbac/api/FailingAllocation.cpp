#include "FailingAllocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#include <jansson.h>

namespace keepsafe_test {
namespace {

thread_local bool active = false;
thread_local int left = 0; ///< allocations before the one that fails; below 0: it has failed
thread_local bool janssonFailed = false;

void* allocate(std::size_t size) noexcept
{
    if (active && left-- == 0) {
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* allocateForJansson(std::size_t size) noexcept
{
    void* const memory = janssonFailed ? nullptr : allocate(size);
    janssonFailed = memory == nullptr;
    return memory;
}

/// Before any value of Jansson's is made.
const bool janssonAllocatesHere = [] {
    json_set_alloc_funcs(allocateForJansson, std::free);
    return true;
}();

} // namespace

FailingAllocation::FailingAllocation(int number)
{
    left = number;
    active = janssonAllocatesHere;
}

FailingAllocation::~FailingAllocation()
{
    active = false;
    janssonFailed = false;
}

bool FailingAllocation::happened() { return left < 0; }

} // namespace keepsafe_test

// In a separate file: a compiler that inlines them into their callers takes them for mismatched.
void* operator new(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept
{
    return keepsafe_test::allocate(size);
}
void* operator new(std::size_t size)
{
    if (void* memory = keepsafe_test::allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept
{
    return keepsafe_test::allocate(size);
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
