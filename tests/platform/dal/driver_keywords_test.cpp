#include "driver_keywords.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;

std::string keywordsFor(const std::string& connectionString, unsigned int connectSeconds = 15,
                        unsigned int querySeconds = 40)
{
    Tessara::Dal::DbConnectionSettings settings;
    settings.connectionString = connectionString;
    settings.connectTimeoutSeconds = connectSeconds;
    settings.queryTimeoutSeconds = querySeconds;
    return Tessara::Dal::withDriverKeywords(settings);
}

TEST(DriverKeywords, ComeBeforeTheConnectionString)
{
    EXPECT_EQ(keywordsFor("Driver=X;"),
              "Timeout=14900;NoCreat=1;pqopt={options=' ' tcp_user_timeout=40000 keepalives_idle=10 "
              "keepalives_interval=10 keepalives_count=3};Driver=X;");
}

TEST(DriverKeywords, SetNoTimesWithoutBounds)
{
    EXPECT_EQ(keywordsFor("Driver=X;", 0, 0), "NoCreat=1;pqopt={options=' '};Driver=X;");
}

TEST(DriverKeywords, NeverTurnAShortBoundIntoNone)
{
    EXPECT_THAT(keywordsFor("", 1, 1), HasSubstr("keepalives_idle=1 keepalives_interval=1 "));
}

TEST(DriverKeywords, LeaveTheConnectionStringsOwn)
{
    EXPECT_THAT(keywordsFor("Driver=X;nocreat=0;"), Not(HasSubstr("NoCreat=1")));
    EXPECT_THAT(keywordsFor("Driver=X;PqOpt={a=b};"), Not(HasSubstr("pqopt=")));
}

} // namespace
