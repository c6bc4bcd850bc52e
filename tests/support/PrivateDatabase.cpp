#include "support/PrivateDatabase.h"

#include <ostream>
#include <stdexcept>

#include "support/PrivatePostgres.h"
#include "support/TempDir.h"

namespace keepsafe_test {

std::ostream& operator<<(std::ostream& stream, DatabaseKind kind)
{
    return stream << (kind == DatabaseKind::Sqlite ? "SQLite" : "PostgreSQL");
}

std::string kindName(const testing::TestParamInfo<DatabaseKind>& kind)
{
    return testing::PrintToString(kind.param);
}

PrivateDatabase::PrivateDatabase(DatabaseKind kind) : kind_(kind)
{
    if (kind_ == DatabaseKind::Sqlite) {
        folder_ = std::make_unique<TempDir>();
        settings_.connectionString = "Driver=SQLite3;NoCreat=0;Database=" + folder_->path("main.db") + ";";
        settings_.onConnect = {"ATTACH DATABASE '" + folder_->path("auth.db") + "' AS AUTH_MAIN"};
    } else {
        static const PrivatePostgres POSTGRES;
        settings_.connectionString = POSTGRES.connectionString();
    }
    manager_ = std::make_unique<Tessara::Dal::DbConnectionManager>(settings_);
    if (kind_ == DatabaseKind::Postgres) {
        run("DROP SCHEMA IF EXISTS AUTH_MAIN CASCADE");
        run("CREATE SCHEMA AUTH_MAIN");
    }
}

PrivateDatabase::~PrivateDatabase() = default;

std::string PrivateDatabase::configuration() const
{
    std::string text = "[database]\nconnection = \"" + settings_.connectionString + "\"\non_connect = [";
    for (const std::string& statement : settings_.onConnect) {
        text += '"' + statement + "\",";
    }
    return text + "]\n";
}

void PrivateDatabase::run(const std::string& command, const std::vector<std::string>& parameters)
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
        connection->Execute(&view, command.c_str(), binder.get(), VERBOSITY, "PrivateDatabase", true, false);
    if (status != 0) {
        throw std::runtime_error(command + ": " + std::to_string(status));
    }
}

} // namespace keepsafe_test
