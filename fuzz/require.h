#ifndef KEEPSAFE_FUZZ_REQUIRE_H
#define KEEPSAFE_FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

/// Ends the process when a property does not hold, so that the fuzzer keeps the input.
inline void require(bool holds, const char* property)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}

#endif
