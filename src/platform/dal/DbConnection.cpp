#include <keepsafe/platform/dal/Dal.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <keepsafe/platform/log/logmsg.h>

#include "ConnectionState.h"
#include "bindings.h"
#include "column_value.h"
#include "decimal.h"

namespace Tessara::Dal {
namespace {

using Keepsafe::Platform::LOG_LEVEL_ERROR;
constexpr const char* EXECUTE = "DbConnection::Execute";
constexpr const char* FETCH = "DbConnection::Fetch";

/// The category of debug messages about database statements.
constexpr int LOG_CATEGORY_DATABASE = 0;

int logged(const char* tag, int status, const std::string& text)
{
    logmsgf(LOG_LEVEL_ERROR, tag, "%s", text.c_str());
    return status;
}

/// SQLColAttribute would work as well, but queries PostgreSQL's catalogue about the column's table.
bool isBinary(SQLHANDLE statement, unsigned short column)
{
    SQLSMALLINT type = SQL_UNKNOWN_TYPE;
    SQLULEN size = 0;
    SQLSMALLINT nameLength = 0;
    SQLSMALLINT digits = 0;
    SQLSMALLINT nullable = 0;
    SQLDescribeCol(statement, column, nullptr, 0, &nameLength, &type, &size, &digits, &nullable);
    return type == SQL_BINARY || type == SQL_VARBINARY || type == SQL_LONGVARBINARY;
}

/// Reads a column as text. Returns false when ODBC refuses.
bool getText(SQLHANDLE statement, unsigned short column, char* buffer, std::size_t size, ColumnAnswer& answer)
{
    answer.result =
        SQLGetData(statement, column, SQL_C_CHAR, buffer, static_cast<SQLLEN>(size), &answer.indicator);
    return SQL_SUCCEEDED(answer.result);
}

/// The text for a status about a value.
Failure valueFailure(int status)
{
    switch (status) {
    case 0:
        return {};
    case STATUS_VALUE_TOO_LONG:
        return {status, "does not fit its buffer"};
    case STATUS_UNEXPECTED_NULL:
        return {status, "has no value"};
    default:
        return {status, "has a value that cannot be represented"};
    }
}

/// Reads an integer from its text: drivers silently turn a number that does not fit, or a text that is not a
/// number, into some other number.
int finishInt32(const ColumnAnswer& answer, std::array<char, 16>& digits, std::int32_t& value,
                bool rejectNull)
{
    const int status = finishText(answer, digits.data(), digits.size(), rejectNull, false);
    if (status == STATUS_VALUE_TOO_LONG) {
        return STATUS_VALUE_UNUSABLE;
    }
    if (status != 0 || answer.indicator == SQL_NULL_DATA) {
        return status;
    }
    return Keepsafe::Text::parseDecimal(digits.data(), value) == std::errc() ? 0 : STATUS_VALUE_UNUSABLE;
}

} // namespace

Failure DbConnection::State::readColumn(const Prepared& statement, const DalOdbcView::BindingStruct& column,
                                        char* row, bool rejectNull, bool allowTruncation)
{
    if (isBinary(statement.handle(), column.number)) {
        return valueFailure(STATUS_VALUE_UNUSABLE); // a driver would render the bytes as digits
    }
    char* const place = row + column.position;
    ColumnAnswer answer{SQL_SUCCESS, SQL_NULL_DATA};
    if (column.valueType == VALUE_TYPE_TEXT) {
        return getText(statement.handle(), column.number, place, column.length, answer)
                   ? valueFailure(finishText(answer, place, column.length, rejectNull, allowTruncation))
                   : failureOf(statement);
    }
    std::array<char, 16> digits{};
    if (!getText(statement.handle(), column.number, digits.data(), digits.size(), answer)) {
        return failureOf(statement);
    }
    std::int32_t value = 0;
    const int status = finishInt32(answer, digits, value, rejectNull);
    std::memcpy(place, &value, sizeof value);
    return valueFailure(status);
}

DalOdbcView::DalOdbcView(DbConnection* connection)
    : connection_(connection),
      result_(connection == nullptr ? nullptr : std::make_unique<Result>(*connection->state_))
{
}

DalOdbcView::~DalOdbcView() = default;

int DalOdbcView::status() const noexcept
{
    if (connection_ == nullptr) {
        return STATUS_BAD_CALL;
    }
    return connection_->state_->isDead() ? STATUS_CONNECTION_LOST : 0;
}

DbConnectionView::DbConnectionView(DbConnection* connection) : DalOdbcView(connection) {}
DbConnectionView::~DbConnectionView() = default;

DbConnection::DbConnection(std::unique_ptr<State> state) : state_(std::move(state)) {}
DbConnection::~DbConnection() = default;

const char* DbConnection::product() const noexcept { return state_->product().c_str(); }

SSRDbConnection::SSRDbConnection(std::unique_ptr<State> state) : DbConnection(std::move(state)) {}

int DbConnection::Execute(DalOdbcView* view, const char* sql, const DalOdbcView::BindingStruct* parameters,
                          LOG_AT_VERBOSITY verbosity, const char* tag, bool isCommand, bool /*singleRow*/)
{
    if (view == nullptr || sql == nullptr || view->connection_ != this) {
        return logged(EXECUTE, STATUS_BAD_CALL, "no statement, or no view of this connection");
    }
    logmsgvf(static_cast<int>(verbosity), LOG_CATEGORY_DATABASE, tag, "executing \"%s\"", sql);
    view->result_->drop();
    std::size_t count = 0;
    const std::string wrong = checkParameters(parameters, count);
    if (!wrong.empty()) {
        return logged(EXECUTE, STATUS_BAD_BINDING, wrong);
    }
    std::unique_ptr<Prepared> statement;
    const Failure failure = state_->run(statement, sql, parameters, count, isCommand);
    if (failure.status != 0) {
        return logged(EXECUTE, failure.status, failure.text);
    }
    const bool hasRows = statement->columnCount() != 0;
    if (hasRows && !isCommand) {
        view->result_->statement = std::move(statement);
        return 0;
    }
    state_->drop(std::move(statement));
    if (hasRows || !isCommand) {
        return logged(EXECUTE, STATUS_STATEMENT_FAILED,
                      hasRows ? "a command gave rows" : "a query gave no columns");
    }
    return 0;
}

int DbConnection::Fetch(DalOdbcView* view, void* row, unsigned long rowSize,
                        const DalOdbcView::BindingStruct* columns, unsigned long columnCount,
                        unsigned long* fetched, bool rejectNull, bool allowTruncation)
{
    if (fetched != nullptr) {
        *fetched = 0;
    }
    if (row != nullptr) {
        std::memset(row, 0, rowSize);
    }
    if (view == nullptr || row == nullptr || view->connection_ != this || !view->result_->statement) {
        return logged(FETCH, STATUS_BAD_CALL, "no row record, or no view with a result of this connection");
    }
    const Prepared& statement = *view->result_->statement;
    const std::string wrong = checkColumns(columns, columnCount, rowSize, statement.columnCount());
    if (!wrong.empty()) {
        return logged(FETCH, STATUS_BAD_BINDING, wrong);
    }
    const SQLRETURN result = SQLFetch(statement.handle());
    if (result == SQL_NO_DATA) {
        return STATUS_NO_MORE_ROWS;
    }
    if (!SQL_SUCCEEDED(result)) {
        const Failure failure = state_->failureOf(statement);
        return logged(FETCH, failure.status, failure.text);
    }
    for (unsigned long at = 0; at < columnCount; ++at) {
        const Failure failure =
            state_->readColumn(statement, columns[at], static_cast<char*>(row), rejectNull, allowTruncation);
        if (failure.status != 0) {
            std::memset(row, 0, rowSize);
            const char* const name = columns[at].name == nullptr ? "" : columns[at].name;
            return logged(FETCH, failure.status, "column \"" + std::string(name) + "\" " + failure.text);
        }
    }
    if (fetched != nullptr) {
        *fetched = 1;
    }
    return 0;
}

} // namespace Tessara::Dal
