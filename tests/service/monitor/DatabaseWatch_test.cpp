#include "monitor/DatabaseWatch.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/PrivateDatabase.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::ControlFigures;
using keepsafe_service::DatabaseWatch;
using keepsafe_service::ServiceHealth;
using testing::ElementsAre;
using testing::IsEmpty;

/// A service beside a database that has the table of revisions.
class DatabaseWatchTest : public testing::Test {
protected:
    void createRevision(const std::string& revision)
    {
        database_.run("CREATE TABLE AUTH_MAIN.ACTL_Revision (Kind TEXT, LastRevision TEXT)");
        database_.run("INSERT INTO AUTH_MAIN.ACTL_Revision VALUES ('change', '" + revision + "')");
        health_.enter(ServiceHealth::Phase::Serving);
    }

    /// What is wrong when the database was asked.
    std::vector<std::string> faults()
    {
        health_.setDatabaseFault("not asked yet");
        const DatabaseWatch watch(database_.settings(), health_, std::chrono::milliseconds(10));
        while (health_.faults() == std::vector<std::string>{"not asked yet"}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return health_.faults();
    }

    PrivateDatabase database_{DatabaseKind::Sqlite};
    ControlFigures control_;
    ServiceHealth health_{control_};
};

TEST_F(DatabaseWatchTest, PassesOnTheLastRevision)
{
    createRevision("12345678901234");
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_EQ(health_.revision(), 12345678901234);
}

TEST_F(DatabaseWatchTest, NamesARevisionThatIsNotANumberAndKeepsTheLatest)
{
    createRevision("many");
    health_.setRevision(7);
    EXPECT_THAT(faults(), ElementsAre("cannot ask the database whether it is there: a number is malformed"));
    EXPECT_EQ(health_.revision(), 7);
}

} // namespace
} // namespace keepsafe_test
