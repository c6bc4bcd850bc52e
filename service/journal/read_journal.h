#ifndef KEEPSAFE_SERVICE_JOURNAL_READ_JOURNAL_H
#define KEEPSAFE_SERVICE_JOURNAL_READ_JOURNAL_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "database/Database.h"
#include "journal/JournalEntry.h"

namespace keepsafe_service {

/// Behind all entries of a revision.
constexpr std::int32_t LAST_PLACE = std::numeric_limits<std::int32_t>::max();

/// Which entries are asked for: those that fulfil all conditions.
struct JournalQuery {
    JournalPlace after;                ///< behind this place
    std::optional<std::string> since;  ///< at this time or later, in the journal's form
    std::optional<std::string> object; ///< about this object or one below it
    std::optional<std::int32_t> roleId;
    std::size_t limit = 100; ///< at most so many
};

struct JournalPage {
    std::vector<RecordedEntry> entries; ///< in the order of the journal
    bool hasMore = false;               ///< there are others behind the last one
    std::int64_t lastRevision = 0;      ///< of the journal before it was read: no later change is left out
};

/// Texts of entries that a page has together, in bytes: one with more has one entry.
constexpr std::size_t MOST_PAGE_BYTES = std::size_t(4) << 20U;

/// The first entries that the query asks for. What is committed later has a higher revision, so that pages,
/// each of which begins behind the last entry of the one before, leave nothing out and repeat nothing,
/// however much is changed meanwhile. Throws `DatabaseError`.
[[nodiscard]] JournalPage readJournal(Database& database, const JournalQuery& query);

/// The journal's last revision; 0 while nothing was ever changed. Throws `DatabaseError`: "cannot", the
/// attempt and the reason.
[[nodiscard]] std::int64_t readLastRevision(Database& database, const char* attempt);

} // namespace keepsafe_service

#endif
