/// The secrets of connections, which the environment may ask for.

#include <filesystem>
#include <string>

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HttpTest.h"
#include "support/PrivilegedCopy.h"
#include "support/Process.h"

namespace keepsafe_test {
namespace {

class KeyLog : public HttpTest {
protected:
    ProgramResult runGet(const std::string& program)
    {
        const HttpsServer server(serverSettings());
        return runProgram(
            {"env", "SSLKEYLOGFILE=" + file_, program, root.path(), std::to_string(server.port())});
    }

    std::string file_ = root.path("secrets");
};

TEST_F(KeyLog, GetsNoSecretOfAConnection)
{
    EXPECT_EQ(runGet(HTTP_GET).output, std::to_string(CURLE_OK) + "\n");
    EXPECT_EQ(readFile(file_), "");
}

TEST_F(KeyLog, IsNotOpenedByAProgramWithMoreRightsThanItsCaller)
{
    if (!PrivilegedCopy::mayBeMade()) {
        GTEST_SKIP() << PrivilegedCopy::NEEDS;
    }
    const ProgramResult result = runGet(PrivilegedCopy(HTTP_GET).path());
    EXPECT_EQ(result.output, std::to_string(CURLE_FAILED_INIT) + "\n");
    EXPECT_THAT(result.errors, testing::HasSubstr("no requests with SSLKEYLOGFILE in a process with more "
                                                  "rights than its caller (AT_SECURE)"));
    EXPECT_FALSE(std::filesystem::exists(file_));
}

} // namespace
} // namespace keepsafe_test
