#ifndef KEEPSAFE_TESTS_PLATFORM_DAL_DALSERVER_H
#define KEEPSAFE_TESTS_PLATFORM_DAL_DALSERVER_H

#include <memory>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/dal/Dal.h>

#include "Session.h"
#include "support/PrivatePostgres.h"
#include "support/TempDir.h"

namespace keepsafe_test {

enum class Product { Sqlite, Postgres };

inline std::ostream& operator<<(std::ostream& stream, Product product)
{
    return stream << (product == Product::Sqlite ? "SQLite" : "PostgreSQL");
}

/// A private database of either product with an empty schema AUTH_MAIN. Those of PostgreSQL share one server
/// for as long as the program runs, so only one of them may live at a time.
class DalServer {
public:
    explicit DalServer(Product product)
    {
        if (product == Product::Sqlite) {
            folder_ = std::make_unique<TempDir>();
            settings.connectionString = "Driver=SQLite3;Database=" + folder_->path("main.db") + ";";
            settings.onConnect = {"ATTACH DATABASE '" + folder_->path("auth.db") + "' AS AUTH_MAIN"};
        } else {
            static const PrivatePostgres postgres;
            settings.connectionString = postgres.connectionString();
            Tessara::Dal::DbConnectionManager manager(settings);
            EXPECT_EQ(runCommand(manager, "DROP SCHEMA IF EXISTS AUTH_MAIN CASCADE"), 0);
            EXPECT_EQ(runCommand(manager, "CREATE SCHEMA AUTH_MAIN"), 0);
        }
    }

    Tessara::Dal::DbConnectionSettings settings;

private:
    std::unique_ptr<TempDir> folder_;
};

} // namespace keepsafe_test

#endif
