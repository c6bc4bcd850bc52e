#include "monitor/DatabaseWatch.h"

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

namespace keepsafe_service {

DatabaseWatch::DatabaseWatch(const Tessara::Dal::DbConnectionSettings& settings, ServiceHealth& health,
                             std::chrono::milliseconds pause)
    : database_(settings), health_(health), asking_({std::chrono::microseconds(0), pause}, [this] { ask(); })
{
}

void DatabaseWatch::ask()
{
    try {
        constexpr std::size_t mostDigits = 20;
        database_.forEachRow(
            "ask the database whether it is there",
            "SELECT CAST(LastRevision AS TEXT) FROM AUTH_MAIN.ACTL_Revision WHERE Kind = 'change'",
            std::vector<std::size_t>{mostDigits},
            [this](const Database::Texts& row) { health_.setRevision(std::stoll(row.front())); });
        health_.setDatabaseFault(std::nullopt);
    } catch (const std::exception& error) {
        health_.setDatabaseFault(error.what());
    }
}

} // namespace keepsafe_service
