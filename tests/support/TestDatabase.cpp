#include "support/TestDatabase.h"

#include <ostream>
#include <stdexcept>
#include <string>

#include "support/PrivatePostgres.h"
#include "support/TempDir.h"

namespace keepsafe_test {

using Tessara::Dal::DbConnectionManager;
using Tessara::Dal::DbConnectionSettings;

std::ostream& operator<<(std::ostream& stream, DatabaseKind kind)
{
    return stream << (kind == DatabaseKind::Sqlite ? "SQLite" : "PostgreSQL");
}

std::string kindName(const testing::TestParamInfo<DatabaseKind>& kind)
{
    return testing::PrintToString(kind.param);
}

/// What stands behind the connections.
class TestDatabase::Server {
public:
    Server() = default;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    virtual ~Server() = default;

    DbConnectionSettings settings;
};

namespace {

class SqliteFiles : public TestDatabase::Server {
public:
    SqliteFiles()
    {
        settings.connectionString = "Driver=SQLite3;Database=" + folder_.path("main.db") + ";";
        settings.onConnect = {"ATTACH DATABASE '" + folder_.path("auth.db") + "' AS AUTH_MAIN"};
    }

private:
    TempDir folder_;
};

/// One server for as long as the program runs, and its one database.
class PostgresServer : public TestDatabase::Server {
public:
    PostgresServer()
    {
        static const PrivatePostgres POSTGRES;
        settings.connectionString = POSTGRES.connectionString();
    }
};

std::unique_ptr<TestDatabase::Server> serverOf(DatabaseKind kind)
{
    if (kind == DatabaseKind::Sqlite) {
        return std::make_unique<SqliteFiles>();
    }
    return std::make_unique<PostgresServer>();
}

} // namespace

TestDatabase::TestDatabase(DatabaseKind kind)
    : kind_(kind), server_(serverOf(kind)), manager_(std::make_unique<DbConnectionManager>(server_->settings))
{
    if (kind == DatabaseKind::Postgres) {
        run("DROP SCHEMA IF EXISTS AUTH_MAIN CASCADE");
        run("CREATE SCHEMA AUTH_MAIN");
    }
    run("CREATE TABLE AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue VARCHAR(100), AzTokenValue "
        "TEXT)");
    run("CREATE TABLE AUTH_MAIN.ACTL_CollectionCriteria (CriteriaID INTEGER, CollectionKey INTEGER, "
        "CriteriaJson TEXT, objectType VARCHAR(100))");
}

TestDatabase::~TestDatabase() = default;

void TestDatabase::storeToken(const std::string& jti, const std::string& azToken)
{
    run("INSERT INTO AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue, AzTokenValue) VALUES (?, ?)",
        {jti, azToken});
}

void TestDatabase::storeCriteria(int criteriaId, int collectionKey, const std::string& json,
                                 const std::string& objectType)
{
    run("INSERT INTO AUTH_MAIN.ACTL_CollectionCriteria VALUES (" + std::to_string(criteriaId) + ", " +
            std::to_string(collectionKey) + ", ?, ?)",
        {json, objectType});
}

void TestDatabase::run(const std::string& command, const std::vector<std::string>& parameters)
{
    Tessara::Dal::SSRDbConnection* connection = nullptr;
    const Tessara::Dal::SSRGuard guard(manager_.get(), connection);
    if (guard.status() != 0) {
        throw std::runtime_error("no connection: " + std::to_string(guard.status()));
    }
    Tessara::Dal::DbConnectionView view(connection);
    Tessara::Dal::ParameterBinder binder;
    for (const std::string& parameter : parameters) {
        binder.bindInputString(parameter.c_str(), Tessara::Dal::ZERO_TERMINATED, false);
    }
    constexpr auto VERBOSITY = static_cast<Tessara::Dal::LOG_AT_VERBOSITY>(6);
    const int status =
        connection->Execute(&view, command.c_str(), binder.get(), VERBOSITY, "TestDatabase", true, false);
    if (status != 0) {
        throw std::runtime_error(command + ": " + std::to_string(status));
    }
}

void TestDatabase::indexTokens()
{
    // SQLite wants the schema before the index, PostgreSQL before the table.
    run(kind_ == DatabaseKind::Sqlite
            ? "CREATE INDEX AUTH_MAIN.Sessions ON AUTH_Access_Token_Details (SessionTokenValue)"
            : "CREATE INDEX Sessions ON AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue)");
}

const DbConnectionSettings& TestDatabase::settings() const { return server_->settings; }

std::string TestDatabase::configuration() const
{
    std::string text = "[database]\nconnection = \"" + settings().connectionString + "\"\non_connect = [";
    for (const std::string& statement : settings().onConnect) {
        text += '"' + statement + "\",";
    }
    return text + "]\n";
}

DbConnectionManager& TestDatabase::manager() { return *manager_; }

} // namespace keepsafe_test
