#ifndef KEEPSAFE_TESTS_SUPPORT_TESTDATABASE_H
#define KEEPSAFE_TESTS_SUPPORT_TESTDATABASE_H

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

/// A private database of the kind, removed at the end, with the tables that the token queries read. Those of
/// PostgreSQL are the same database, emptied: one at a time.
class TestDatabase {
public:
    class Server;

    explicit TestDatabase(DatabaseKind kind);
    ~TestDatabase();
    TestDatabase(const TestDatabase&) = delete;
    TestDatabase& operator=(const TestDatabase&) = delete;

    void storeToken(const std::string& jti, const std::string& azToken);
    void storeCriteria(int criteriaId, int collectionKey, const std::string& json,
                       const std::string& objectType);
    /// Runs any command; throws `std::runtime_error` when it fails.
    void run(const std::string& command, const std::vector<std::string>& parameters = {});

    [[nodiscard]] const Tessara::Dal::DbConnectionSettings& settings() const;
    /// Makes finding a token by its session quick.
    void indexTokens();
    /// The section of the configuration file that connects to it.
    [[nodiscard]] std::string configuration() const;
    /// A pool on the database.
    Tessara::Dal::DbConnectionManager& manager();

private:
    DatabaseKind kind_;
    std::unique_ptr<Server> server_;
    std::unique_ptr<Tessara::Dal::DbConnectionManager> manager_;
};

} // namespace keepsafe_test

#endif
