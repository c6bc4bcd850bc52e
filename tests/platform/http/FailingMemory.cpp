#include "FailingMemory.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include <curl/curl.h>

namespace keepsafe_test {
namespace {

thread_local bool active = false;
thread_local MemoryOf victim = MemoryOf::Cpp;
thread_local int left = 0; ///< allocations before the one that fails; below 0: it has failed

bool fails(MemoryOf whose) { return active && whose == victim && left-- == 0; }

void* curlMalloc(std::size_t size) { return fails(MemoryOf::Libcurl) ? nullptr : std::malloc(size); }

void* curlRealloc(void* memory, std::size_t size)
{
    return fails(MemoryOf::Libcurl) ? nullptr : std::realloc(memory, size);
}

char* curlStrdup(const char* text) { return fails(MemoryOf::Libcurl) ? nullptr : ::strdup(text); }

void* curlCalloc(std::size_t count, std::size_t size)
{
    return fails(MemoryOf::Libcurl) ? nullptr : std::calloc(count, size);
}

} // namespace

FailingMemory::FailingMemory(MemoryOf whose, int number)
{
    victim = whose;
    left = number;
    active = true;
}

FailingMemory::~FailingMemory() { active = false; }

bool FailingMemory::happened() { return left < 0; }

void provideMemoryForLibcurl()
{
    if (curl_global_init_mem(CURL_GLOBAL_DEFAULT, curlMalloc, std::free, curlRealloc, curlStrdup,
                             curlCalloc) != CURLE_OK) {
        throw std::bad_alloc();
    }
}

} // namespace keepsafe_test

// In a separate file: a compiler that inlines them into their callers takes them for mismatched.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return keepsafe_test::fails(keepsafe_test::MemoryOf::Cpp) ? nullptr : std::malloc(size != 0 ? size : 1);
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
