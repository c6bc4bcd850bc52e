#include <keepsafe/dbaccess/RBACDbConnectionMgr.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/dal/Dal.h>

#include "support/CapturedLog.h"
#include "support/DefaultLogger.h"
#include "support/TempDir.h"
#include "support/TokenDatabase.h"
#include "support/messages.h"

namespace keepsafe_test {
namespace {

using Tessara::Dal::DbConnectionManager;
using Tessara::Keepsafe::RBACDbConnectionMgr;

constexpr char TAG[] = "RBACDbConnectionMgr::RBACDbConnectionMgr";

TEST(RBACDbConnectionMgr, UsesTheCallersManagerAndLeavesItAlive)
{
    TokenDatabase database(DatabaseKind::Sqlite);
    const CapturedLog log;
    const DefaultLogger logger(6);
    {
        const RBACDbConnectionMgr connection(&database.manager());
        EXPECT_EQ(connection.getDbConnectionMgr(), &database.manager());
    }
    database.run("DELETE FROM AUTH_MAIN.AUTH_Access_Token_Details");
    EXPECT_THAT(messagesOf(log, TAG), testing::IsEmpty());
}

TEST(RBACDbConnectionMgr, MakesAManagerOfItsOwnWhenGivenNone)
{
    const TempRoot root;
    const CapturedLog log;
    const DefaultLogger logger(1);
    const RBACDbConnectionMgr connection(nullptr);
    EXPECT_NE(connection.getDbConnectionMgr(), nullptr);
    EXPECT_THAT(messagesOf(log, TAG, 4),
                testing::ElementsAre("Starting database connection manager(RBACDbConnectionMgr.cpp:*)"));
}

TEST(RBACDbConnectionMgr, IsEstablishedWhenItsManagerHasAConnection)
{
    const TempRoot root;
    const RBACDbConnectionMgr idle(nullptr);
    EXPECT_FALSE(idle.connectionEstablished());

    TokenDatabase database(DatabaseKind::Sqlite);
    const RBACDbConnectionMgr connected(&database.manager());
    EXPECT_TRUE(connected.connectionEstablished());
}

} // namespace
} // namespace keepsafe_test
