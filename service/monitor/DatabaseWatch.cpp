#include "monitor/DatabaseWatch.h"

#include <exception>
#include <optional>

#include "journal/read_journal.h"

namespace keepsafe_service {

DatabaseWatch::DatabaseWatch(const Tessara::Dal::DbConnectionSettings& settings, ServiceHealth& health,
                             std::chrono::milliseconds pause)
    : database_(settings), health_(health), asking_({std::chrono::microseconds(0), pause}, [this] { ask(); })
{
}

void DatabaseWatch::ask()
{
    try {
        health_.setRevision(readLastRevision(database_, "ask the database whether it is there"));
        health_.setDatabaseFault(std::nullopt);
    } catch (const std::exception& error) {
        health_.setDatabaseFault(error.what());
    }
}

} // namespace keepsafe_service
