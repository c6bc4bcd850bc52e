#ifndef KEEPSAFE_SANDBOX_DATABASE_DATABASEERROR_H
#define KEEPSAFE_SANDBOX_DATABASE_DATABASEERROR_H

#include <stdexcept>

namespace keepsafe_sandbox {

/// The database failed. `what()` says what was attempted, and the status of the database layer with its
/// meaning; the database's own message is in the log.
class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The outcome of a transaction is unknown: the database did not confirm its changes.
class CommitError : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

} // namespace keepsafe_sandbox

#endif
