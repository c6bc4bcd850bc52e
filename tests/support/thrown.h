#ifndef KEEPSAFE_TESTS_SUPPORT_THROWN_H
#define KEEPSAFE_TESTS_SUPPORT_THROWN_H

#include <stdexcept>

#include <keepsafe/platform/status/EC_exception.h>

namespace keepsafe_test {

/// The `Error` that a call throws. Throws when there is none, which fails the test; other exceptions pass
/// through.
template <typename Error, typename Call>
Error thrownBy(const Call& call)
{
    try {
        call();
    } catch (const Error& error) {
        return error;
    }
    throw std::logic_error("the call threw nothing");
}

/// The status of the `EC_exception` that a call throws; 0 when it throws none.
template <typename Call>
int thrownStatus(const Call& call)
{
    try {
        call();
    } catch (const EC_exception& failure) {
        return failure.status();
    }
    return 0;
}

} // namespace keepsafe_test

#endif
