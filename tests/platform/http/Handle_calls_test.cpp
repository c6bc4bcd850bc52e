/// What a handle asks of libcurl to be made. The functions here stand in for libcurl's.

#include "Handle.h"

#include <memory>
#include <new>

#include <curl/curl.h>
#include <gtest/gtest.h>

#include "FailingMemory.h"

namespace {

struct Libcurl {
    CURLcode initialisation = CURLE_OK;
    bool hasHandles = true;
    int initialisations = 0;
    int cleanups = 0;
};

Libcurl libcurl;
int easyHandle = 0;

} // namespace

CURLcode curl_global_init(long /*flags*/)
{
    ++libcurl.initialisations;
    return libcurl.initialisation;
}
CURL* curl_easy_init() { return libcurl.hasHandles ? &easyHandle : nullptr; }
void curl_easy_cleanup(CURL* /*handle*/) { ++libcurl.cleanups; }

namespace {

using keepsafe_test::FailingMemory;
using keepsafe_test::MemoryOf;
using Tessara::Keepsafe::Platform::http::Handle;

class HandleCalls : public testing::Test {
protected:
    HandleCalls() { libcurl = Libcurl(); }
};

/// The first test: the process remembers that libcurl was initialised.
TEST_F(HandleCalls, InitialiseLibcurlUntilThatSucceedsAndThenNoMore)
{
    libcurl.initialisation = CURLE_FAILED_INIT;
    EXPECT_EQ(Handle::make({}), nullptr);
    EXPECT_EQ(Handle::make({}), nullptr);
    libcurl.initialisation = CURLE_OK;
    EXPECT_NE(Handle::make({}), nullptr);
    EXPECT_NE(Handle::make({}), nullptr);
    EXPECT_EQ(libcurl.initialisations, 3);
}

TEST_F(HandleCalls, GiveNothingWhenLibcurlHasNoHandle)
{
    libcurl.hasHandles = false;
    EXPECT_EQ(Handle::make({}), nullptr);
    EXPECT_EQ(libcurl.cleanups, 0);
}

TEST_F(HandleCalls, CleanUpOnceWithMemoryAndWithout)
{
    EXPECT_NE(Handle::make({}), nullptr);
    EXPECT_EQ(libcurl.cleanups, 1);
    {
        const FailingMemory failing(MemoryOf::Cpp, 0);
        EXPECT_THROW(Handle::make({}), std::bad_alloc);
    }
    EXPECT_EQ(libcurl.cleanups, 2);
}

} // namespace
