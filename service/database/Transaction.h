#ifndef KEEPSAFE_SERVICE_DATABASE_TRANSACTION_H
#define KEEPSAFE_SERVICE_DATABASE_TRANSACTION_H

#include <string>

#include "database/Database.h"
#include "database/Statement.h"

namespace keepsafe_service {

/// Changes that the database makes together or not at all, on their own connection. Unless `commit` has
/// returned, they are undone when the object is destroyed. One thread.
///
/// A failure is thrown as `DatabaseError`, and ends the transaction: everything after it is refused.
class Transaction {
public:
    /// `attempt`: the purpose of the transaction; it completes "cannot ..." in messages.
    Transaction(Database& database, const std::string& attempt);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Runs a statement that changes data. The connection keeps the last few statements prepared: the same
    /// text again costs the least.
    void change(const std::string& sql, const Database::Texts& parameters = {});
    /// Throws `CommitError`: if the connection is lost, it is unknown whether the changes were made.
    void commit();

private:
    enum State { Open, Failed, Committed };
    void requireOpen() const;

    std::string attempt_;
    BorrowedConnection connection_;
    State state_ = Open;
};

} // namespace keepsafe_service

#endif
