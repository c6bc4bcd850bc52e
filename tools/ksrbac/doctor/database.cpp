#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/dal/Dal.h>

#include "doctor/Examination.h"
#include "doctor/HeardLog.h"
#include "doctor/database_settings.h"

namespace ksrbac {

namespace Dal = Tessara::Dal;

namespace {

constexpr char WHAT[] = "database";
constexpr char TABLES[] = "database tables";
constexpr char IDENTIFIERS[] = "session identifiers";
constexpr char TAG[] = "ksrbac doctor";
constexpr char TOKENS[] = "AUTH_MAIN.AUTH_Access_Token_Details";

struct Table {
    const char* name;
    const char* columns; ///< those that the libraries' queries name
};

constexpr Table QUERIED[] = {
    {TOKENS, "SessionTokenValue, AzTokenValue"},
    {"AUTH_MAIN.ACTL_CollectionCriteria", "CriteriaID, CollectionKey, CriteriaJson, objectType"},
};

/// One connection with a view.
class Connection {
public:
    explicit Connection(Dal::DbConnectionManager& manager) : guard_(&manager, connection_), view_(connection_)
    {
    }

    [[nodiscard]] bool isOpen() const { return guard_.status() == 0 && view_.status() == 0; }
    [[nodiscard]] const char* product() const { return connection_->product(); }

    [[nodiscard]] bool run(const std::string& sql)
    {
        return connection_->Execute(&view_, sql.c_str(), nullptr, Dal::LOG_AT_VERBOSITY{6}, TAG, false,
                                    true) == 0;
    }

    /// The number that the statement gives. False: it failed.
    [[nodiscard]] bool ask(const std::string& sql, std::int32_t& number)
    {
        struct Row {
            std::int32_t number;
        } row{};
        const Dal::DalOdbcView::BindingStruct column{1, "number", Dal::VALUE_TYPE_INT32,
                                                     offsetof(Row, number), sizeof row.number};
        const bool isAnswered =
            run(sql) && connection_->Fetch(&view_, &row, sizeof row, &column, 1, nullptr, true, false) == 0;
        number = row.number;
        return isAnswered;
    }

private:
    Dal::SSRDbConnection* connection_ = nullptr;
    Dal::SSRGuard guard_;
    Dal::DbConnectionView view_;
};

void checkTables(Connection& connection, Examination& examination)
{
    for (const Table& table : QUERIED) {
        const HeardLog log;
        if (!connection.run(std::string("SELECT ") + table.columns + " FROM " + table.name +
                            " WHERE 1 = 0")) {
            examination.fail(
                TABLES, std::string(table.name) + ": " + log.reason("the query failed"),
                "let the product's login, ksrbacd or ksrbac-sandbox init make the table, and let "
                "this account read it");
            return;
        }
    }
    examination.ok(TABLES, "those of the queries for tokens and criteria are there, with their columns");
}

/// Two identifiers of different sessions must never be the same to the database: in upper and lower case, and
/// with a blank behind.
void checkIdentifiers(Connection& connection, Examination& examination)
{
    const std::string product = connection.product();
    if (product != "PostgreSQL" && product != "SQLite") {
        examination.skip(IDENTIFIERS, "a database of " + product + " is not asked for its collations");
        return;
    }
    for (const char* const comparison : {"= 'K'", "= 'k '"}) {
        const HeardLog log;
        std::int32_t equal = 0;
        if (!connection.ask(
                std::string("SELECT CAST(COUNT(*) AS INTEGER) FROM (SELECT SessionTokenValue FROM ") +
                    TOKENS + " WHERE 1 = 0 UNION ALL SELECT 'k') AS probes WHERE SessionTokenValue " +
                    comparison,
                equal)) {
            examination.skip(IDENTIFIERS, log.reason("the query failed"));
            return;
        }
        if (equal != 0) {
            examination.fail(
                IDENTIFIERS,
                std::string(TOKENS) +
                    ".SessionTokenValue takes different identifiers for the same: a session could "
                    "get the roles of another",
                "give the column a binary collation; see docs/configuration.md");
            return;
        }
    }
    examination.ok(IDENTIFIERS, "compared byte by byte");
}

void skipTheRest(const char* because, Examination& examination)
{
    examination.skip(TABLES, because);
    examination.skip(IDENTIFIERS, because);
}

void checkConnection(Examination& examination)
{
    const HeardLog log;
    Dal::DbConnectionManager manager(databaseSettings(examination));
    const auto begin = std::chrono::steady_clock::now();
    Connection connection(manager);
    const auto took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    if (!connection.isOpen()) {
        examination.fail(WHAT, log.reason("no connection within the time"),
                         "see whether the database runs, and what database.connection in " +
                             Tessara::Keepsafe::Platform::configPath() + " names");
        skipTheRest("there is no connection to the database", examination);
        return;
    }
    examination.ok(WHAT, std::string(connection.product()) + ", connected in " +
                             std::to_string(took.count()) + " ms");
    checkTables(connection, examination);
    examination.areTablesUsable = examination.findings().back().state == Finding::State::Ok;
    if (examination.areTablesUsable) {
        checkIdentifiers(connection, examination);
    } else {
        examination.skip(IDENTIFIERS, "the tables cannot be queried");
    }
}

} // namespace

void checkDatabase(Examination& examination)
{
    if (!examination.config) {
        examination.skip(WHAT, "there is no configuration to read");
        skipTheRest("there is no connection to the database", examination);
    } else if (!examination.config->databaseConnection.empty()) {
        checkConnection(examination);
    } else if (examination.isEnforcing) {
        examination.warn(WHAT, "none is configured: the roles of session tokens cannot be looked up",
                         "set database.connection in " + Tessara::Keepsafe::Platform::configPath());
        skipTheRest("there is no connection to the database", examination);
    } else {
        examination.skip(WHAT, "none is configured, and enforcement is off");
        skipTheRest("there is no connection to the database", examination);
    }
}

} // namespace ksrbac
