#include <array>
#include <string>

#include "ConfigQueries.h"

namespace keepsafe_test {
namespace {

using GetServerName = ConfigQueries;

TEST_F(GetServerName, CopiesTheConfiguredName)
{
    write("master_server = \"master.example\"");
    EXPECT_EQ(serverName(), "master.example");
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(GetServerName, FollowsAChangeOfTheFile)
{
    write("master_server = \"one\"");
    EXPECT_EQ(serverName(), "one");
    replace("master_server = \"two\"");
    EXPECT_EQ(serverName(), "two");
}

TEST_F(GetServerName, FillsTheCallersBufferToTheLastByte)
{
    const std::string longest(CALLERS_BUFFER - 1, 'm');
    write("master_server = \"" + longest + "\"");
    EXPECT_EQ(serverName(CALLERS_BUFFER), longest);
    EXPECT_EQ(statusOfServerName(CALLERS_BUFFER - 1), 20);
}

TEST_F(GetServerName, NeedsRoomForTheNameAndItsZero)
{
    write("master_server = \"master\"");
    EXPECT_EQ(serverName(7), "master");
    EXPECT_EQ(statusOfServerName(6), 20);
    EXPECT_EQ(statusOfServerName(1), 20);
}

TEST_F(GetServerName, WritesNothingBehindTheZero)
{
    write("master_server = \"m\"");
    std::array<char, 4> buffer = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(db_getservernameEx(buffer.data(), buffer.size()), 0);
    EXPECT_EQ(std::string(buffer.data(), buffer.size()), std::string("m\0xx", 4));
}

TEST_F(GetServerName, RefusesAMissingBuffer)
{
    write("master_server = \"m\"");
    char untouched = 'x';
    EXPECT_EQ(db_getservernameEx(nullptr, CALLERS_BUFFER), 20);
    EXPECT_EQ(db_getservernameEx(&untouched, 0), 20);
    EXPECT_EQ(untouched, 'x');
}

TEST_F(GetServerName, IsStatus114WhenNoneIsConfigured)
{
    EXPECT_EQ(statusOfServerName(), 114);
    EXPECT_EQ(statusOfServerName(1), 114);
    write("master_server = \"\"");
    EXPECT_EQ(statusOfServerName(), 114);
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(GetServerName, IsStatus13WhenTheConfigurationCannotBeUsed)
{
    write("master_server = 1");
    EXPECT_EQ(statusOfServerName(), 13);
    EXPECT_EQ(log_.lines(),
              (Lines{{16, "db_getservernameEx",
                      file() + ":1:17: \"master_server\" must be a string, not of type integer"}}));
}

} // namespace
} // namespace keepsafe_test
