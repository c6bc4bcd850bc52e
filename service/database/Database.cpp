#include "database/Database.h"

#include "database/Statement.h"

namespace keepsafe_service {

namespace Dal = Tessara::Dal;

namespace {

/// PostgreSQL's driver follows an explicit BEGIN. But when it frees a statement that it has prepared on the
/// server, it takes the transaction for finished, and from then on commits statement by statement. Without
/// such statements there is nothing to free. It needs no savepoint before each statement either, because a
/// failed one ends the whole transaction. Other drivers ignore the keywords.
Dal::DbConnectionSettings forTransactions(Dal::DbConnectionSettings settings)
{
    if (!settings.connectionString.empty()) {
        settings.connectionString = "UseServerSidePrepare=0;Protocol=7.4-0;" + settings.connectionString;
    }
    return settings;
}

} // namespace

Database::Database(const Dal::DbConnectionSettings& settings)
    : manager_(settings), transactions_(forTransactions(settings))
{
}

std::string Database::product()
{
    return BorrowedConnection(manager_, "connect to the database").get().product();
}

void Database::change(const std::string& attempt, const std::string& sql, const Texts& parameters)
{
    const BorrowedConnection connection(manager_, attempt);
    const Statement statement(connection.get(), attempt, sql, parameters, Statement::Command);
}

std::int32_t Database::number(const std::string& attempt, const std::string& sql, const Texts& parameters)
{
    const BorrowedConnection connection(manager_, attempt);
    Statement statement(connection.get(), attempt, sql, parameters, Statement::Query);
    std::int32_t value = 0;
    requireDone(
        statement.fetch(&value, sizeof value, {{1, "number", Dal::VALUE_TYPE_INT32, 0, sizeof value}}),
        attempt);
    return value;
}

void Database::forEachRow(const std::string& attempt, const std::string& sql, std::size_t columnCount,
                          const std::function<void(const Texts&)>& take)
{
    forEachRow(attempt, sql, std::vector<std::size_t>(columnCount, MOST_BYTES), take);
}

void Database::forEachRow(const std::string& attempt, const std::string& sql,
                          const std::vector<std::size_t>& mostBytes,
                          const std::function<void(const Texts&)>& take, const Texts& parameters)
{
    std::vector<Dal::DalOdbcView::BindingStruct> columns;
    std::size_t rowSize = 0;
    for (const std::size_t most : mostBytes) {
        const auto number = static_cast<unsigned short>(columns.size() + 1);
        columns.push_back({number, "text", Dal::VALUE_TYPE_TEXT, rowSize, most + 1});
        rowSize += most + 1;
    }
    const BorrowedConnection connection(manager_, attempt);
    Statement statement(connection.get(), attempt, sql, parameters, Statement::Query);
    std::vector<char> row(rowSize);
    Texts texts(columns.size());
    int status = statement.fetch(row.data(), row.size(), columns);
    for (; status == 0; status = statement.fetch(row.data(), row.size(), columns)) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            texts[i].assign(&row[columns[i].position]);
        }
        take(texts);
    }
    if (status != Dal::STATUS_NO_MORE_ROWS) {
        requireDone(status, attempt);
    }
}

} // namespace keepsafe_service
