#ifndef KEEPSAFE_DIAGNOSTICS_REQUIRE_H
#define KEEPSAFE_DIAGNOSTICS_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace Tessara::Keepsafe::diagnostics {

/// Stops the program when an assertion fails after which it cannot continue. Unlike `assert`, it stays in
/// optimised builds.
inline void require(bool holds, const char* assertion)
{
    if (!holds) {
        (void)std::fprintf(stderr, "Assertion `%s' failed.\n", assertion);
        std::abort();
    }
}

} // namespace Tessara::Keepsafe::diagnostics

#endif
