#include "database/Statement.h"

#include "database/DatabaseError.h"

namespace keepsafe_service {

namespace Dal = Tessara::Dal;

namespace {

constexpr auto VERBOSITY = static_cast<Dal::LOG_AT_VERBOSITY>(5);
constexpr char TAG[] = "Statement::Statement";

const char* meaning(int status)
{
    switch (status) {
    case Dal::STATUS_NOT_CONFIGURED:
        return "no connection string is configured";
    case Dal::STATUS_CONNECT_FAILED:
        return "the database cannot be reached or refuses";
    case Dal::STATUS_NO_FREE_CONNECTION:
        return "no connection is free";
    case Dal::STATUS_CONNECTION_LOST:
        return "the connection was lost";
    case Dal::STATUS_STATEMENT_FAILED:
        return "the database rejected the statement";
    case Dal::STATUS_TIMED_OUT:
        return "the statement took too long";
    case Dal::STATUS_VALUE_TOO_LONG:
        return "a stored value is too long";
    case Dal::STATUS_UNEXPECTED_NULL:
        return "a column holds no value";
    case Dal::STATUS_NO_MORE_ROWS:
        return "the query gave no row";
    default:
        return "see the log";
    }
}

} // namespace

void requireDone(int status, const std::string& attempt)
{
    if (status != 0) {
        throw DatabaseError("cannot " + attempt + ": database status " + std::to_string(status) + ", " +
                            meaning(status));
    }
}

BorrowedConnection::BorrowedConnection(Dal::DbConnectionManager& manager, const std::string& attempt)
    : guard_(&manager, connection_)
{
    requireDone(guard_.status(), attempt);
}

Statement::Statement(Dal::SSRDbConnection& connection, const std::string& attempt, const std::string& sql,
                     const std::vector<std::string>& parameters, Kind kind)
    : connection_(connection), view_(&connection)
{
    requireDone(view_.status(), attempt);
    Dal::ParameterBinder binder;
    for (const std::string& text : parameters) {
        binder.bindInputString(text.data(), static_cast<int>(text.size()), false);
    }
    requireDone(
        connection_.Execute(&view_, sql.c_str(), binder.get(), VERBOSITY, TAG, kind == Command, false),
        attempt);
}

int Statement::fetch(void* row, std::size_t rowSize,
                     const std::vector<Dal::DalOdbcView::BindingStruct>& columns)
{
    unsigned long fetched = 0;
    return connection_.Fetch(&view_, row, rowSize, columns.data(), columns.size(), &fetched, true, false);
}

} // namespace keepsafe_service
