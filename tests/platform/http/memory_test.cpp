/// Requests of which each allocation fails in turn.

#include <functional>
#include <string>
#include <thread>

#include <curl/curl.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <keepsafe/platform/config/config.h>

#include "FailingMemory.h"
#include "HttpTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Platform::currentConfig;

class Memory : public HttpTest, public testing::WithParamInterface<MemoryOf> {
protected:
    static void SetUpTestSuite() { provideMemoryForLibcurl(); }

    Memory()
    {
        // The parser of the configuration ends the process without memory, so it must have done its work: it
        // has when two calls return the same reading.
        while (currentConfig("test") != currentConfig("test")) {
            std::this_thread::yield();
        }
    }

    /// Fails each allocation of a request in turn; returns how many of the requests failed.
    int failEachAllocation(const std::function<void(int number)>& prepare)
    {
        int failures = 0;
        for (int number = 0;; ++number) {
            prepare(number);
            KSClientCURL client = clientOf(server);
            int status = 0;
            {
                const FailingMemory failing(GetParam(), number);
                status = client.Post("path", body);
            }
            EXPECT_EQ(client.httpStatus(), status == CURLE_OK ? 200 : 0) << number;
            EXPECT_EQ(client.responseBody(), status == CURLE_OK ? "{}" : "") << number;
            failures += status == CURLE_OK ? 0 : 1;
            if (!FailingMemory::happened()) {
                EXPECT_EQ(status, CURLE_OK);
                return failures;
            }
            expectToRecover(number);
        }
    }

    /// An allocation that fails at the end of a request may leave its connection unusable without a word of
    /// libcurl; the request that finds it so fails and closes it.
    void expectToRecover(int number)
    {
        const int status = clientOf(server).Post("path", body);
        EXPECT_TRUE(status == CURLE_OK || status == CURLE_SEND_ERROR) << number << ": " << status;
        EXPECT_EQ(clientOf(server).Post("path", body), CURLE_OK) << number;
    }

    const std::string body = std::string(100, 'x');
    HttpsServer server{serverSettings()};
};

TEST_P(Memory, ThatIsMissingOnAWarmConnectionGivesAStatus)
{
    ASSERT_EQ(statusOfGet(server), CURLE_OK);
    EXPECT_GT(failEachAllocation([](int) {}), 3);
}

TEST_P(Memory, ThatIsMissingOnANewConnectionGivesAStatus)
{
    EXPECT_GT(failEachAllocation([this](int number) {
                  // Another state of the file, and so another connection.
                  const timespec times[2] = {{number, 0}, {number, 0}};
                  ASSERT_EQ(::utimensat(AT_FDCWD, hostFiles.certificate.c_str(), times, 0), 0);
              }),
              5);
}

INSTANTIATE_TEST_SUITE_P(Of, Memory, testing::Values(MemoryOf::Cpp, MemoryOf::Libcurl),
                         [](const auto& instance) {
                             return std::string(instance.param == MemoryOf::Cpp ? "Cpp" : "Libcurl");
                         });

} // namespace
} // namespace keepsafe_test
