#include "database/Transaction.h"

#include <stdexcept>

namespace keepsafe_service {

Transaction::Transaction(Database& database, const std::string& attempt)
    : attempt_(attempt), connection_(database.transactionManager(), attempt)
{
    // A query is repeated on a new connection when the one from the pool proves dead; a command never is.
    static_cast<void>(Statement(connection_.get(), attempt_, "SELECT 1", {}, Statement::Query));
    static_cast<void>(Statement(connection_.get(), attempt_, "BEGIN", {}, Statement::Command));
}

Transaction::~Transaction()
{
    if (state_ == Committed) {
        return;
    }
    try {
        const Statement undo(connection_.get(), attempt_, "ROLLBACK", {}, Statement::Command);
    } catch (const std::exception&) {
        // The layer below has logged it: the connection is lost, and the transaction with it, or the database
        // has ended the transaction by itself.
    }
}

void Transaction::requireOpen() const
{
    if (state_ != Open) {
        throw std::logic_error("the transaction is over");
    }
}

void Transaction::change(const std::string& sql, const Database::Texts& parameters)
{
    requireOpen();
    state_ = Failed;
    const Statement statement(connection_.get(), attempt_, sql, parameters, Statement::Command);
    state_ = Open;
}

void Transaction::commit()
{
    requireOpen();
    state_ = Failed;
    try {
        const Statement statement(connection_.get(), attempt_, "COMMIT", {}, Statement::Command);
    } catch (const DatabaseError& error) {
        throw CommitError(error.what());
    }
    state_ = Committed;
}

} // namespace keepsafe_service
