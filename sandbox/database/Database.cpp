#include "database/Database.h"

#include <cstring>

namespace keepsafe_sandbox {

namespace Dal = Tessara::Dal;

namespace {

constexpr auto VERBOSITY = static_cast<Dal::LOG_AT_VERBOSITY>(5);
constexpr char TAG[] = "ksrbac-sandbox";

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

void require(int status, const std::string& attempt)
{
    if (status != 0) {
        throw DatabaseError("cannot " + attempt + ": database status " + std::to_string(status) + ", " +
                            meaning(status));
    }
}

/// A statement that has run, on a connection of its own.
class RunStatement {
public:
    RunStatement(Dal::DbConnectionManager& manager, const std::string& attempt, const std::string& sql,
                 const Database::Texts& parameters, bool isCommand)
        : guard_(&manager, connection_), view_(usable(guard_, connection_, attempt))
    {
        require(view_.status(), attempt);
        for (const std::string& text : parameters) {
            binder_.bindInputString(text.data(), static_cast<int>(text.size()), true);
        }
        require(connection_->Execute(&view_, sql.c_str(), binder_.get(), VERBOSITY, TAG, isCommand, false),
                attempt);
    }

    int fetch(void* row, std::size_t rowSize, const std::vector<Dal::DalOdbcView::BindingStruct>& columns)
    {
        unsigned long fetched = 0;
        return connection_->Fetch(&view_, row, rowSize, columns.data(), columns.size(), &fetched, true,
                                  false);
    }

private:
    static Dal::SSRDbConnection* usable(const Dal::SSRGuard& guard, Dal::SSRDbConnection* connection,
                                        const std::string& attempt)
    {
        require(guard.status(), attempt);
        return connection;
    }

    Dal::SSRDbConnection* connection_ = nullptr;
    Dal::SSRGuard guard_;
    Dal::DbConnectionView view_;
    Dal::ParameterBinder binder_;
};

} // namespace

void Database::change(const std::string& attempt, const std::string& sql, const Texts& parameters)
{
    const RunStatement statement(manager_, attempt, sql, parameters, true);
}

std::int32_t Database::number(const std::string& attempt, const std::string& sql, const Texts& parameters)
{
    RunStatement statement(manager_, attempt, sql, parameters, false);
    std::int32_t value = 0;
    require(statement.fetch(&value, sizeof value, {{1, "number", Dal::VALUE_TYPE_INT32, 0, sizeof value}}),
            attempt);
    return value;
}

void Database::forEachRow(const std::string& attempt, const std::string& sql, std::size_t columnCount,
                          const std::function<void(const Texts&)>& take)
{
    constexpr std::size_t cell = MOST_BYTES + 1;
    std::vector<Dal::DalOdbcView::BindingStruct> columns;
    for (std::size_t i = 0; i < columnCount; ++i) {
        columns.push_back({static_cast<unsigned short>(i + 1), "text", Dal::VALUE_TYPE_TEXT, i * cell, cell});
    }
    RunStatement statement(manager_, attempt, sql, {}, false);
    std::vector<char> row(columnCount * cell);
    int status = statement.fetch(row.data(), row.size(), columns);
    for (; status == 0; status = statement.fetch(row.data(), row.size(), columns)) {
        Texts texts;
        for (std::size_t i = 0; i < columnCount; ++i) {
            texts.emplace_back(&row[i * cell]);
        }
        take(texts);
    }
    if (status != Dal::STATUS_NO_MORE_ROWS) {
        require(status, attempt);
    }
}

} // namespace keepsafe_sandbox
