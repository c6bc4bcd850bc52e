#include "database/Transaction.h"
#include "service/accesscontrol/AccessControlTest.h"

/// Changes that the database or the disk does not take.

namespace keepsafe_test {
namespace {

using keepsafe_service::CommitError;
using keepsafe_service::DatabaseError;

class FailedChange : public AccessControlTest {
protected:
    /// From now on the database refuses rows of a table, "INSERT" or "DELETE", that fulfil a condition.
    void refuseRows(const std::string& event, const std::string& table, const std::string& condition)
    {
        if (GetParam() == DatabaseKind::Sqlite) {
            private_.run("CREATE TRIGGER AUTH_MAIN.refusal BEFORE " + event + " ON " + table + " WHEN " +
                         condition + " BEGIN SELECT RAISE(ABORT, 'refused'); END");
            return;
        }
        private_.run("CREATE FUNCTION AUTH_MAIN.refuse() RETURNS trigger LANGUAGE plpgsql AS "
                     "'BEGIN RAISE EXCEPTION ''refused''; END'");
        private_.run("CREATE TRIGGER refusal BEFORE " + event + " ON AUTH_MAIN." + table +
                     " FOR EACH ROW WHEN (" + condition + ") EXECUTE FUNCTION AUTH_MAIN.refuse()");
    }

    void takeRowsAgain(const std::string& table)
    {
        private_.run(GetParam() == DatabaseKind::Sqlite ? "DROP TRIGGER AUTH_MAIN.refusal"
                                                        : "DROP TRIGGER refusal ON AUTH_MAIN." + table);
    }

    Texts all() const { return everything(namespaces("|A| |B| |C| |D| |D|1| |D|2|")); }

    /// The same in the model, and from the database.
    void expectUnchangedFrom(const Texts& before)
    {
        EXPECT_EQ(all(), before);
        restart();
        EXPECT_EQ(all(), before);
    }
};

INSTANTIATE_TEST_SUITE_P(Databases, FailedChange, allDatabases(), kindName);

TEST_P(FailedChange, InTheMiddleOfARegistrationChangesNothing)
{
    addObjects("|A|");
    const Texts before = all();
    refuseRows("INSERT", "ACTL_ManagedObject", "NEW.Namespace = '|D|2|'");
    EXPECT_THROW(service_->registerObjects({registration("|B|"), registration("|D|", "|D|1| |D|2|")}),
                 DatabaseError);
    EXPECT_EQ(all(), before);

    takeRowsAgain("ACTL_ManagedObject");
    expectUnchangedFrom(before);
    service_->registerObjects({registration("|B|"), registration("|D|", "|D|1| |D|2|")});
    EXPECT_EQ(stateOf("|D|2|"), "PENDING");
}

TEST_P(FailedChange, InTheMiddleOfChangesOfStatesChangesNothing)
{
    addObjects("|A| |B| |C|");
    grant("|A|", VIEW);
    grant("|B|", VIEW);
    const Texts before = all();
    refuseRows("DELETE", "ACTL_ManagedObject", "OLD.Namespace = '|B|'");
    EXPECT_THROW(service_->updateStates({{ns("|A|"), DELETED}, {ns("|B|"), DELETED}, {ns("|C|"), PENDING}}),
                 DatabaseError);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
    expectUnchangedFrom(before);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

TEST_P(FailedChange, InTheMiddleOfARolesRemovalLeavesRoleAndGrants)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    grant("|A|", RESTORE);
    const Texts before = all();
    refuseRows("DELETE", "ACTL_Role", "OLD.RoleID = 7");
    EXPECT_THROW(service_->deleteRole(ROLE), DatabaseError);
    EXPECT_TRUE(isAllowed("|A|", RESTORE));
    expectUnchangedFrom(before);
}

TEST_P(FailedChange, ToATableThatIsGoneChangesNothing)
{
    addObjects("|A|");
    private_.run("ALTER TABLE AUTH_MAIN.ACTL_AccessDefinition RENAME TO elsewhere");
    EXPECT_THROW(grant("|A|", VIEW), DatabaseError);
    EXPECT_EQ(definitionsOf("|A|"), Texts{});
    EXPECT_FALSE(isAllowed("|A|", VIEW));
    private_.run("ALTER TABLE AUTH_MAIN.elsewhere RENAME TO ACTL_AccessDefinition");
    grant("|A|", VIEW);
    EXPECT_EQ(service_->accessDefinitions(ns("|A|")).front().id, "1");
}

TEST_P(FailedChange, ThatTheJournalCannotTakeChangesNothing)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    const Texts before = all();
    const std::size_t entries = journal().size();
    refuseRows("INSERT", "ACTL_Change", "NEW.What = 'objectRegistered' OR NEW.RoleID = 7");
    EXPECT_THROW(grant("|A|", RESTORE), DatabaseError);
    EXPECT_THROW(service_->deleteRole(ROLE), DatabaseError);
    EXPECT_THROW(service_->registerObjects({registration("|B|"), registration("|C|")}), DatabaseError);
    EXPECT_FALSE(isAllowed("|A|", RESTORE));
    EXPECT_EQ(journal().size(), entries);
    expectUnchangedFrom(before);

    takeRowsAgain("ACTL_Change");
    service_->registerObjects({registration("|B|")});
    expectJournalLeadsToTheStore();
}

TEST_P(FailedChange, WithoutACounterOfRevisionsChangesNothing)
{
    addObjects("|A|");
    const Texts before = all();
    private_.run("DELETE FROM AUTH_MAIN.ACTL_Revision");
    EXPECT_THROW(grant("|A|", VIEW), DatabaseError);
    expectUnchangedFrom(before);
}

TEST_P(FailedChange, LeavesNoGapBetweenRevisions)
{
    addObjects("|A|");
    const auto last = journal().back().at.revision;
    refuseRows("INSERT", "ACTL_AccessDefinition", "NEW.RoleID = 7");
    EXPECT_THROW(grant("|A|", VIEW), DatabaseError);
    takeRowsAgain("ACTL_AccessDefinition");
    grant("|A|", VIEW);
    EXPECT_EQ(journal().back().at.revision, last + 1);
}

TEST_P(FailedChange, LeavesIdsThatWereNeverSeenToTheNextOne)
{
    addObjects("|A|");
    refuseRows("INSERT", "ACTL_AccessDefinition", "NEW.RoleID = 7");
    EXPECT_THROW(grant("|A|", VIEW), DatabaseError);
    takeRowsAgain("ACTL_AccessDefinition");
    EXPECT_EQ(service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, {VIEW}}).id, "1");
}

class DatabaseLost : public FailedChange {
protected:
    /// The server ends its connection when a transaction that adds a role is to be committed: the client
    /// learns nothing of its end.
    void dieAtCommit()
    {
        private_.run("CREATE FUNCTION AUTH_MAIN.die() RETURNS trigger LANGUAGE plpgsql AS "
                     "'BEGIN PERFORM pg_terminate_backend(pg_backend_pid()); RETURN NULL; END'");
        private_.run("CREATE CONSTRAINT TRIGGER dying AFTER INSERT ON AUTH_MAIN.ACTL_Role "
                     "DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION AUTH_MAIN.die()");
    }
};

INSTANTIATE_TEST_SUITE_P(Databases, DatabaseLost, testing::Values(DatabaseKind::Postgres), kindName);

TEST_P(DatabaseLost, AtTheCommitOfAChangeTheServiceReadsEverythingAnewBeforeTheNextOne)
{
    addObjects("|A|");
    service_ = std::make_unique<AccessControl>(database_, fileSystem_, location_, withoutRetry());
    dieAtCommit();
    EXPECT_THROW(service_->createRole("lost", ""), CommitError);
    // What another hand does meanwhile stands for a change that was made although its answer was lost.
    private_.run("DROP TRIGGER dying ON AUTH_MAIN.ACTL_Role");
    private_.run("INSERT INTO AUTH_MAIN.ACTL_AccessDefinition VALUES (1, 1, 7, 'OBJECT', '0')");
    private_.run("UPDATE AUTH_MAIN.ACTL_NextID SET NextID = 2 WHERE Kind = 'accessDefinition'");
    EXPECT_FALSE(isAllowed("|A|", VIEW));

    EXPECT_EQ(service_->createRole("next", "").id, 8);

    EXPECT_EQ(definitionsOf("|A|"), (Texts{"7 OBJECT |OPERATIONS|VIEW|"}));
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

TEST_P(DatabaseLost, WhileTheServiceIsIdleTheNextChangeConnectsAnew)
{
    addObjects("|A|");
    private_.run("DO 'BEGIN PERFORM pg_terminate_backend(pid) FROM pg_stat_activity "
                 "WHERE pid <> pg_backend_pid() AND backend_type = ''client backend''; END'");
    grant("|A|", VIEW);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

class DatabaseLocked : public FailedChange {};

INSTANTIATE_TEST_SUITE_P(Databases, DatabaseLocked, testing::Values(DatabaseKind::Sqlite), kindName);

TEST_P(DatabaseLocked, ByAnotherWriterForTooLongChangesNothing)
{
    addObjects("|A|");
    auto impatient = unsyncedSettings(private_);
    impatient.connectionString = "Timeout=100;" + impatient.connectionString;
    impatient.queryTimeoutSeconds = 1;
    keepsafe_service::Database database(impatient);
    service_ = std::make_unique<AccessControl>(database, fileSystem_, location_);
    {
        keepsafe_service::Transaction other(database_, "hold the database");
        other.change("UPDATE AUTH_MAIN.ACTL_Role SET Description = 'x' WHERE RoleID = 7");
        EXPECT_THROW(grant("|A|", VIEW), DatabaseError);
        EXPECT_EQ(definitionsOf("|A|"), Texts{});
    }
    grant("|A|", VIEW);
    EXPECT_EQ(definitionsOf("|A|").size(), 1U);
    service_.reset();
}

} // namespace
} // namespace keepsafe_test
