/// Handlers that cannot be registered. The function here stands in for the C library's.

#include "ForkHandlers.h"

#include <cerrno>
#include <new>

#include <gtest/gtest.h>

extern "C" int pthread_atfork(void (*)(), void (*)(), void (*)()) noexcept { return ENOMEM; }

namespace {

void nothing() {}

TEST(ForkHandlers, ThrowWhenTheyCannotBeRegistered)
{
    EXPECT_THROW(Tessara::Keepsafe::Process::ForkHandlers(nothing, nothing, nothing), std::bad_alloc);
}

} // namespace
