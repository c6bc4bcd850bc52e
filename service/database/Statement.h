#ifndef KEEPSAFE_SERVICE_DATABASE_STATEMENT_H
#define KEEPSAFE_SERVICE_DATABASE_STATEMENT_H

#include <cstddef>
#include <string>
#include <vector>

#include <keepsafe/platform/dal/Dal.h>

namespace keepsafe_service {

/// Throws `DatabaseError`, "cannot " + `attempt` and what the status of the database layer means, unless the
/// status is 0.
void requireDone(int status, const std::string& attempt);

/// A connection of the pool while it lives. Throws `DatabaseError` when there is none.
class BorrowedConnection {
public:
    BorrowedConnection(Tessara::Dal::DbConnectionManager& manager, const std::string& attempt);

    [[nodiscard]] Tessara::Dal::SSRDbConnection& get() const noexcept { return *connection_; }

private:
    Tessara::Dal::SSRDbConnection* connection_ = nullptr;
    Tessara::Dal::SSRGuard guard_;
};

/// A statement that has run on a connection, which must outlive it.
class Statement {
public:
    enum Kind { Command, Query };

    Statement(Tessara::Dal::SSRDbConnection& connection, const std::string& attempt, const std::string& sql,
              const std::vector<std::string>& parameters, Kind kind);

    /// The next row of a query; the status of the database layer.
    [[nodiscard]] int fetch(void* row, std::size_t rowSize,
                            const std::vector<Tessara::Dal::DalOdbcView::BindingStruct>& columns);

private:
    Tessara::Dal::SSRDbConnection& connection_;
    Tessara::Dal::DbConnectionView view_;
};

} // namespace keepsafe_service

#endif
