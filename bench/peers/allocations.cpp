#include <cstdlib>

#include "peers/costs.h"

// These replace the C library's functions of the same names, for the shared libraries too. The C library
// offers its own under other names; `operator new` comes here through `malloc`.

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names
extern "C" {
void* __libc_malloc(std::size_t size) noexcept;
void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
void* __libc_realloc(void* memory, std::size_t size) noexcept;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

thread_local std::size_t count = 0;

} // namespace

extern "C" void* malloc(std::size_t size) noexcept
{
    ++count;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t number, std::size_t size) noexcept
{
    ++count;
    return __libc_calloc(number, size);
}

extern "C" void* realloc(void* memory, std::size_t size) noexcept
{
    ++count;
    return __libc_realloc(memory, size);
}

namespace keepsafe_bench {

std::size_t allocations() noexcept { return count; }

} // namespace keepsafe_bench
