#include "journal/JournalWriter.h"

#include <chrono>

#include "journal/times.h"

namespace keepsafe_service {

namespace {

/// Entries that one statement adds; a single one has a statement of its own.
constexpr std::size_t ENTRIES_AT_ONCE = 32;
constexpr std::size_t PARAMETERS = 8; ///< of an entry
constexpr std::size_t MOST_BYTES_KEPT = std::size_t(1) << 20U;

constexpr char INSERTION[] = "INSERT INTO AUTH_MAIN.ACTL_Change (Revision, Place, ChangedAt, ChangedBy, "
                             "What, Namespace, RoleID, BeforeJson, AfterJson) ";
constexpr char VALUES[] = "((SELECT LastRevision FROM AUTH_MAIN.ACTL_Revision WHERE Kind = 'change'), "
                          "CAST(? AS INTEGER), CAST(? AS TEXT), CAST(? AS TEXT), CAST(? AS TEXT), "
                          "CAST(? AS TEXT), CAST(? AS INTEGER), CAST(? AS TEXT), CAST(? AS TEXT))";

std::string insertionOf(std::size_t entries)
{
    std::string sql = INSERTION;
    for (std::size_t entry = 0; entry < entries; ++entry) {
        sql += (entry == 0 ? "VALUES " : ", ") + std::string(VALUES);
    }
    return sql;
}

std::string now() { return journalTime(std::chrono::system_clock::now()); }

} // namespace

JournalWriter::JournalWriter(Transaction& transaction, const Author& author)
    : transaction_(transaction), author_(author.name), time_(now())
{
    transaction_.change("UPDATE AUTH_MAIN.ACTL_Revision SET LastRevision = LastRevision + 1 "
                        "WHERE Kind = 'change'");
}

void JournalWriter::add(const JournalEntry& entry)
{
    for (std::string text : {std::to_string(++place_), time_, author_, entry.what, entry.object,
                             std::to_string(entry.roleId), entry.before, entry.after}) {
        bytes_ += text.size();
        parameters_.push_back(std::move(text));
    }
    if (parameters_.size() == ENTRIES_AT_ONCE * PARAMETERS) {
        static const std::string sql = insertionOf(ENTRIES_AT_ONCE);
        transaction_.change(sql, parameters_);
        parameters_.clear();
        bytes_ = 0;
    } else if (bytes_ > MOST_BYTES_KEPT) {
        write();
    }
}

void JournalWriter::finish() { write(); }

void JournalWriter::write()
{
    static const std::string sql = insertionOf(1);
    for (std::size_t first = 0; first < parameters_.size(); first += PARAMETERS) {
        const auto begin = parameters_.begin() + static_cast<std::ptrdiff_t>(first);
        transaction_.change(sql, {begin, begin + PARAMETERS});
    }
    parameters_.clear();
    bytes_ = 0;
}

void beginJournal(Transaction& transaction)
{
    transaction.change("INSERT INTO AUTH_MAIN.ACTL_Revision (Kind, LastRevision) VALUES ('change', 0) "
                       "ON CONFLICT (Kind) DO NOTHING");
    transaction.change(std::string(INSERTION) +
                           "SELECT 1, 1, CAST(? AS TEXT), CAST(? AS TEXT), CAST(? AS TEXT), '', -1, 'null', "
                           "'null' FROM AUTH_MAIN.ACTL_Revision WHERE Kind = 'change' AND LastRevision = 0",
                       {now(), localAuthor().name, what::JOURNAL_BEGUN});
    transaction.change("UPDATE AUTH_MAIN.ACTL_Revision SET LastRevision = 1 "
                       "WHERE Kind = 'change' AND LastRevision = 0");
}

} // namespace keepsafe_service
