#include <string>

#include <gtest/gtest.h>

#include "database/Transaction.h"
#include "database/schema.h"
#include "support/CapturedLog.h"
#include "support/PrivateDatabase.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::Database;
using keepsafe_service::DatabaseError;
using keepsafe_service::Transaction;

class TransactionTest : public testing::TestWithParam<DatabaseKind> {
protected:
    TransactionTest() { private_.run("CREATE TABLE AUTH_MAIN.numbers (n INTEGER NOT NULL PRIMARY KEY)"); }

    static void add(Transaction& transaction, int number)
    {
        transaction.change("INSERT INTO AUTH_MAIN.numbers (n) VALUES (CAST(? AS INTEGER))",
                           {std::to_string(number)});
    }

    int count()
    {
        return database_.number("count", "SELECT CAST(COUNT(*) AS INTEGER) FROM AUTH_MAIN.numbers");
    }

    CapturedLog log_;
    PrivateDatabase private_{GetParam()};
    Database database_{private_.settings()};
};

INSTANTIATE_TEST_SUITE_P(Databases, TransactionTest, allDatabases(), kindName);

TEST_P(TransactionTest, ChangesAreThereWhenItIsCommitted)
{
    Transaction transaction(database_, "add");
    add(transaction, 1);
    add(transaction, 2);
    transaction.commit();
    EXPECT_EQ(count(), 2);
}

TEST_P(TransactionTest, WithoutACommitNothingIsThere)
{
    {
        Transaction transaction(database_, "add");
        add(transaction, 1);
    }
    EXPECT_EQ(count(), 0);
}

TEST_P(TransactionTest, AfterAFailureNothingIsThereAndNothingMoreIsTaken)
{
    {
        Transaction transaction(database_, "add");
        add(transaction, 1);
        EXPECT_THROW(add(transaction, 1), DatabaseError);
        EXPECT_THROW(add(transaction, 2), std::logic_error);
        EXPECT_THROW(transaction.commit(), std::logic_error);
    }
    EXPECT_EQ(count(), 0);
}

TEST_P(TransactionTest, LeavesAConnectionOnWhichTheNextOneBeginsAfresh)
{
    {
        Transaction transaction(database_, "add");
        add(transaction, 1);
        EXPECT_THROW(add(transaction, 1), DatabaseError);
    }
    Transaction transaction(database_, "add");
    add(transaction, 2);
    transaction.commit();
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(database_.transactionManager().connectionIndicator(), 1U);
}

// A connection keeps a few statements prepared; to forget one must not end the transaction.
TEST_P(TransactionTest, OfManyDifferentStatementsIsUndoneWhole)
{
    for (int round = 0; round < 3; ++round) {
        Transaction transaction(database_, "add");
        for (int number = 0; number < 30; ++number) {
            transaction.change("INSERT INTO AUTH_MAIN.numbers (n) VALUES (" + std::to_string(number) + ")");
            transaction.change("UPDATE AUTH_MAIN.numbers SET n = n WHERE n = CAST(? AS INTEGER)", {"1"});
        }
        EXPECT_THROW(add(transaction, 7), DatabaseError);
    }
    EXPECT_EQ(count(), 0);
}

TEST_P(TransactionTest, IsSeenByOthersWhenItIsCommitted)
{
    Transaction transaction(database_, "add");
    add(transaction, 1);
    EXPECT_EQ(count(), 0);
    transaction.commit();
    EXPECT_EQ(count(), 1);
}

} // namespace
} // namespace keepsafe_test
