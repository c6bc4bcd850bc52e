#include "journal/read_journal.h"

#include <system_error>

#include "decimal.h"

namespace keepsafe_service {

namespace {

constexpr char READ[] = "read the journal of changes, AUTH_MAIN.ACTL_Change";

/// Each row is read into a buffer for its longest texts: what is behind these characters is read separately.
constexpr std::size_t HEAD = 4000;
constexpr std::size_t PIECE = 32000;

constexpr std::size_t NUMBER_BYTES = 20;
constexpr std::size_t TIME_BYTES = 64;
constexpr std::size_t NAME_BYTES = 4096;
constexpr std::size_t WORD_BYTES = 32;

std::int64_t numberOf(const std::string& text, const char* attempt = READ)
{
    std::int64_t number = 0;
    if (Tessara::Keepsafe::Text::parseDecimal(text, number) != std::errc()) {
        throw DatabaseError(std::string("cannot ") + attempt + ": a number is malformed");
    }
    return number;
}

/// A query with its conditions and their parameters.
class Selection {
public:
    explicit Selection(const JournalQuery& query)
    {
        add("(Revision, Place) > (CAST(? AS BIGINT), CAST(? AS INTEGER))",
            {std::to_string(query.after.revision), std::to_string(query.after.place)});
        if (query.since) {
            // The index on times leads to the first of them, and the plus sign to that index instead of the
            // one on revisions. The others may be anywhere behind it, because clocks are set back.
            add("Revision >= (SELECT MIN(+Revision) FROM AUTH_MAIN.ACTL_Change "
                "WHERE ChangedAt >= CAST(? AS TEXT)) AND ChangedAt >= CAST(? AS TEXT)",
                {*query.since, *query.since});
        }
        if (query.object) {
            add("SUBSTR(Namespace, 1, LENGTH(CAST(? AS TEXT))) = CAST(? AS TEXT)",
                {*query.object, *query.object});
        }
        if (query.roleId) {
            add("RoleID = CAST(? AS INTEGER)", {std::to_string(*query.roleId)});
        }
        // One more than asked for tells whether there are others.
        limit_ = std::to_string(query.limit + 1);
    }

    [[nodiscard]] std::string sql() const
    {
        // Without the table, PostgreSQL would order by the texts of the first columns.
        const std::string head = std::to_string(HEAD);
        return "SELECT CAST(Revision AS TEXT), CAST(Place AS TEXT), ChangedAt, ChangedBy, What, Namespace, "
               "CAST(RoleID AS TEXT), CAST(LENGTH(BeforeJson) AS TEXT), CAST(LENGTH(AfterJson) AS TEXT), "
               "SUBSTR(BeforeJson, 1, " +
               head + "), SUBSTR(AfterJson, 1, " + head + ") FROM AUTH_MAIN.ACTL_Change WHERE " +
               conditions_ + " ORDER BY ACTL_Change.Revision, ACTL_Change.Place LIMIT " + limit_;
    }
    [[nodiscard]] const Database::Texts& parameters() const noexcept { return parameters_; }

private:
    void add(const char* condition, const Database::Texts& parameters)
    {
        conditions_ += (conditions_.empty() ? "" : " AND ") + std::string(condition);
        parameters_.insert(parameters_.end(), parameters.begin(), parameters.end());
    }

    std::string conditions_;
    Database::Texts parameters_;
    std::string limit_;
};

struct Row {
    RecordedEntry entry;
    std::size_t beforeSize;
    std::size_t afterSize;

    [[nodiscard]] std::size_t size() const
    {
        return entry.who.size() + entry.entry.object.size() + beforeSize + afterSize;
    }
};

Row rowOf(const Database::Texts& texts)
{
    Row row = {{{numberOf(texts[0]), static_cast<std::int32_t>(numberOf(texts[1]))},
                texts[2],
                texts[3],
                {texts[4], texts[5], static_cast<std::int32_t>(numberOf(texts[6])), texts[9], texts[10]}},
               static_cast<std::size_t>(numberOf(texts[7])),
               static_cast<std::size_t>(numberOf(texts[8]))};
    return row;
}

/// The rest of a long text: entries never change.
void complete(Database& database, const JournalPlace& at, const char* column, std::size_t size,
              std::string& text)
{
    const std::string sql = std::string("SELECT SUBSTR(") + column + ", CAST(? AS INTEGER), " +
                            std::to_string(PIECE) +
                            ") FROM AUTH_MAIN.ACTL_Change WHERE Revision = CAST(? AS BIGINT) AND Place = "
                            "CAST(? AS INTEGER)";
    while (text.size() < size) {
        const std::size_t before = text.size();
        database.forEachRow(
            READ, sql, {PIECE}, [&text](const Database::Texts& row) { text += row.front(); },
            {std::to_string(before + 1), std::to_string(at.revision), std::to_string(at.place)});
        if (text.size() == before) {
            throw DatabaseError(std::string("cannot ") + READ + ": an entry has changed");
        }
    }
}

} // namespace

std::int64_t readLastRevision(Database& database, const char* attempt)
{
    std::int64_t revision = 0;
    database.forEachRow(
        attempt, "SELECT CAST(LastRevision AS TEXT) FROM AUTH_MAIN.ACTL_Revision WHERE Kind = 'change'",
        std::vector<std::size_t>{NUMBER_BYTES},
        [&](const Database::Texts& row) { revision = numberOf(row.front(), attempt); });
    return revision;
}

JournalPage readJournal(Database& database, const JournalQuery& query)
{
    JournalPage page;
    page.lastRevision = readLastRevision(database, READ);
    std::vector<Row> rows;
    std::size_t bytes = 0;
    const Selection selection(query);
    database.forEachRow(
        READ, selection.sql(),
        {NUMBER_BYTES, NUMBER_BYTES, TIME_BYTES, NAME_BYTES, WORD_BYTES, NAME_BYTES, NUMBER_BYTES,
         NUMBER_BYTES, NUMBER_BYTES, HEAD, HEAD},
        [&](const Database::Texts& texts) {
            const Row row = rowOf(texts);
            bytes += row.size();
            page.hasMore =
                page.hasMore || rows.size() == query.limit || (!rows.empty() && bytes > MOST_PAGE_BYTES);
            if (!page.hasMore) {
                rows.push_back(row);
            }
        },
        selection.parameters());
    for (Row& row : rows) {
        complete(database, row.entry.at, "BeforeJson", row.beforeSize, row.entry.entry.before);
        complete(database, row.entry.at, "AfterJson", row.afterSize, row.entry.entry.after);
        page.entries.push_back(std::move(row.entry));
    }
    return page;
}

} // namespace keepsafe_service
