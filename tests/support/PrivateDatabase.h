#ifndef KEEPSAFE_TESTS_SUPPORT_PRIVATEDATABASE_H
#define KEEPSAFE_TESTS_SUPPORT_PRIVATEDATABASE_H

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/dal/Dal.h>

namespace keepsafe_test {

enum class DatabaseKind { Sqlite, Postgres };

std::ostream& operator<<(std::ostream& stream, DatabaseKind kind);

/// For suites that run against each kind: the kinds, and the names of the instances.
inline auto allDatabases() { return testing::Values(DatabaseKind::Sqlite, DatabaseKind::Postgres); }
std::string kindName(const testing::TestParamInfo<DatabaseKind>& kind);

/// A private database of the kind with an empty schema AUTH_MAIN. Those of PostgreSQL are one database of one
/// server that lives as long as the program: one of them at a time.
class PrivateDatabase {
public:
    explicit PrivateDatabase(DatabaseKind kind);
    ~PrivateDatabase();
    PrivateDatabase(const PrivateDatabase&) = delete;
    PrivateDatabase& operator=(const PrivateDatabase&) = delete;

    [[nodiscard]] DatabaseKind kind() const { return kind_; }
    [[nodiscard]] const Tessara::Dal::DbConnectionSettings& settings() const { return settings_; }
    /// The section of the configuration file that connects to it.
    [[nodiscard]] std::string configuration() const;
    /// A pool on the database.
    Tessara::Dal::DbConnectionManager& manager() { return *manager_; }
    /// Runs any command; throws `std::runtime_error` when it fails.
    void run(const std::string& command, const std::vector<std::string>& parameters = {});

private:
    DatabaseKind kind_;
    std::unique_ptr<class TempDir> folder_;
    Tessara::Dal::DbConnectionSettings settings_;
    std::unique_ptr<Tessara::Dal::DbConnectionManager> manager_;
};

} // namespace keepsafe_test

#endif
