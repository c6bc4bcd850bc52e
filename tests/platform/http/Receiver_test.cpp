#include "Receiver.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Platform::http::Head;

bool showsWholeResponse(const std::vector<std::string>& lines)
{
    Head head;
    for (const std::string& line : lines) {
        head.take(line);
    }
    return head.showsWholeResponse();
}

TEST(Head, OfAStatusWithoutABodyNeedsNoMarkOfItsEnd)
{
    EXPECT_TRUE(showsWholeResponse({"HTTP/1.1 204 No Content\r\n", "\r\n"}));
    EXPECT_TRUE(showsWholeResponse({"HTTP/1.1 304 Not Modified\r\n", "\r\n"}));
    EXPECT_FALSE(showsWholeResponse({"HTTP/1.1 200 OK\r\n", "\r\n"}));
    EXPECT_FALSE(showsWholeResponse({"HTTP/1.1 200 204\r\n", "\r\n"}));
}

TEST(Head, MayEndInALineFeedAlone)
{
    EXPECT_TRUE(showsWholeResponse({"HTTP/1.1 200 OK\n", "Content-Length: 2\n", "\n"}));
    EXPECT_FALSE(showsWholeResponse({"HTTP/1.1 200 OK\n", "Content-Length: 2\n"}));
}

} // namespace
