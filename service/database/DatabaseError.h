#ifndef KEEPSAFE_SERVICE_DATABASE_DATABASEERROR_H
#define KEEPSAFE_SERVICE_DATABASE_DATABASEERROR_H

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace keepsafe_service {

/// How often this process's database has failed.
inline std::atomic<std::uint64_t>& databaseErrors() noexcept
{
    static std::atomic<std::uint64_t> errors{0};
    return errors;
}

/// The database failed. `what()` says what was attempted, and the status of the database layer with its
/// meaning; the database's own message is in the log.
class DatabaseError : public std::runtime_error {
public:
    explicit DatabaseError(const std::string& what) : std::runtime_error(what) { ++databaseErrors(); }
};

/// The outcome of a transaction is unknown: the database did not confirm its changes.
class CommitError : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

} // namespace keepsafe_service

#endif
