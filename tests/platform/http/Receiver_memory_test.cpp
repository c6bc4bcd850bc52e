#include "Receiver.h"

#include <string>

#include <gtest/gtest.h>

#include "FailingMemory.h"

namespace {

namespace http = Tessara::Keepsafe::Platform::http;

TEST(Receiver, RefusesABodyThatMemoryIsMissingFor)
{
    http::Response response;
    http::Receiver receiver(response, 1000);
    const std::string body(100, 'x');
    std::size_t taken = body.size();
    {
        const keepsafe_test::FailingMemory failing(keepsafe_test::MemoryOf::Cpp, 0);
        taken = http::Receiver::onBody(body.data(), 1, body.size(), &receiver);
    }
    EXPECT_TRUE(keepsafe_test::FailingMemory::happened());
    EXPECT_EQ(taken, 0U);
    EXPECT_EQ(response.body, "");
    std::string reason;
    EXPECT_EQ(receiver.outcome(CURLE_WRITE_ERROR, reason), CURLE_OUT_OF_MEMORY);
    EXPECT_EQ(reason, "Out of memory");
}

} // namespace
