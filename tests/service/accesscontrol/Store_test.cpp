#include "database/Transaction.h"
#include "service/accesscontrol/AccessControlTest.h"
#include "support/thrown.h"

/// What the service makes of a database that does not hold what it should.

namespace keepsafe_test {
namespace {

using keepsafe_service::DatabaseError;
using keepsafe_service::Store;

class StoredContent : public AccessControlTest {
protected:
    std::string failure()
    {
        return thrownBy<DatabaseError>([this] { (void)Store(database_).load(); }).what();
    }

    const std::string use_ = "cannot use what is stored in AUTH_MAIN.";
};

INSTANTIATE_TEST_SUITE_P(Databases, StoredContent, allDatabases(), kindName);

TEST_P(StoredContent, OfATableThatIsMissingNamesItAndWhatMakesIt)
{
    private_.run("DROP TABLE AUTH_MAIN.ACTL_ManagedObject");
    EXPECT_EQ(failure(), "cannot read the table AUTH_MAIN.ACTL_ManagedObject, which the service makes "
                         "when it starts: database status 2007005, the database rejected the statement");
}

TEST_P(StoredContent, WithoutRole0IsRefused)
{
    private_.run("DELETE FROM AUTH_MAIN.ACTL_Role WHERE RoleID = 0");
    EXPECT_EQ(failure(), "cannot use AUTH_MAIN.ACTL_Role: role 0 is missing, which the service makes "
                         "when it starts");
}

TEST_P(StoredContent, ThatDoesNotFitTogetherIsRefused)
{
    addObjects("|A|");
    private_.run("INSERT INTO AUTH_MAIN.ACTL_AccessDefinition VALUES (5, 1, 99, 'OBJECT', '0')");
    EXPECT_EQ(failure(), use_ + "ACTL_AccessDefinition, 5: its object or role is not there");
    private_.run("UPDATE AUTH_MAIN.ACTL_AccessDefinition SET RoleID = 7, PermissionBits = '0 1'");
    EXPECT_EQ(failure(), use_ + "ACTL_AccessDefinition, 5: no operation has the bit 1");
    private_.run("UPDATE AUTH_MAIN.ACTL_AccessDefinition SET PermissionBits = '0  6'");
    EXPECT_EQ(failure(), use_ + "ACTL_AccessDefinition, 5: \"0  6\" is not a list of numbers");
    private_.run("UPDATE AUTH_MAIN.ACTL_AccessDefinition SET PermissionBits = '0', Propagation = 'ALL'");
    EXPECT_EQ(failure(), use_ + "ACTL_AccessDefinition, 5: \"ALL\" is not a propagation");
    private_.run("DELETE FROM AUTH_MAIN.ACTL_AccessDefinition");
    private_.run("UPDATE AUTH_MAIN.ACTL_ManagedObject SET State = 'DELETED'");
    EXPECT_EQ(failure(), use_ + "ACTL_ManagedObject, 1: \"DELETED\" is not a state of an object");
    private_.run("UPDATE AUTH_MAIN.ACTL_ManagedObject SET State = 'READY', RegisteredWith = 3");
    EXPECT_EQ(failure(), use_ + "ACTL_ManagedObject, 1: the object that it was registered with is not there");
}

TEST_P(StoredContent, WithAnObjectTwiceIsRefused)
{
    addObjects("|A|");
    private_.run("INSERT INTO AUTH_MAIN.ACTL_ManagedObject VALUES (9, '|A|', '', 1, 'READY', 0)");
    EXPECT_EQ(failure(), use_ + "ACTL_ManagedObject, 9: object |A| is there twice");
}

TEST_P(StoredContent, WithoutItsCountersStillGivesNewIds)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    private_.run("DELETE FROM AUTH_MAIN.ACTL_NextID");
    restart();
    EXPECT_EQ(service_->createRole("new", "").id, 8);
    EXPECT_EQ(service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, {VIEW}}).id, "2");
}

TEST_P(StoredContent, WithoutItsCountersTakesTheLargestIdForTheLast)
{
    for (const char* name : {"8", "9", "10"}) {
        service_->createRole(name, "");
    }
    private_.run("DELETE FROM AUTH_MAIN.ACTL_NextID");
    restart();
    EXPECT_EQ(service_->createRole("new", "").id, 11);
}

TEST_P(StoredContent, OfWhichAllIdsWereGivenOutTakesNoMore)
{
    private_.run("UPDATE AUTH_MAIN.ACTL_NextID SET NextID = 2147483646");
    restart();
    EXPECT_EQ(service_->createRole("last", "").id, 2147483646);
    const auto refused = refusal([&] { service_->createRole("one more", ""); });
    EXPECT_EQ(refused.kind, Refusal::Conflict);
    EXPECT_EQ(refused.message, "no role id is left to give out");
    restart();
    EXPECT_EQ(refusal([&] { service_->createRole("one more", ""); }).kind, Refusal::Conflict);
}

} // namespace
} // namespace keepsafe_test
