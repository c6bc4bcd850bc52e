#include "peers/Sqlite.h"

#include <stdexcept>
#include <string_view>
#include <utility>

#include <sqlite3.h>

#include "peers/EffectiveRecord.h"
#include "peers/object_tree.h"

namespace keepsafe_bench {

namespace {

struct Release {
    void operator()(sqlite3* connection) const noexcept { ::sqlite3_close_v2(connection); }
    void operator()(sqlite3_stmt* statement) const noexcept { ::sqlite3_finalize(statement); }
};
using ConnectionHandle = std::unique_ptr<sqlite3, Release>;
using StatementHandle = std::unique_ptr<sqlite3_stmt, Release>;

[[noreturn]] void fail(sqlite3* connection)
{
    throw std::runtime_error(std::string("SQLite: ") + ::sqlite3_errmsg(connection));
}

ConnectionHandle connect(const std::string& uri, int flags)
{
    sqlite3* connection = nullptr;
    const int status =
        ::sqlite3_open_v2(uri.c_str(), &connection, flags | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
    ConnectionHandle handle(connection);
    if (status != SQLITE_OK) {
        fail(connection);
    }
    return handle;
}

void run(sqlite3* connection, const char* statements)
{
    if (::sqlite3_exec(connection, statements, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(connection);
    }
}

StatementHandle prepare(sqlite3* connection, const char* text)
{
    sqlite3_stmt* statement = nullptr;
    if (::sqlite3_prepare_v3(connection, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK) {
        fail(connection);
    }
    return StatementHandle(statement);
}

void bindText(sqlite3_stmt* statement, int column, std::string_view text)
{
    ::sqlite3_bind_text(statement, column, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

class Sqlite : public Contender {
public:
    explicit Sqlite(const std::string& path)
        : connection_(connect("file:" + path + "?immutable=1", SQLITE_OPEN_READONLY))
    {
        // Pages come from the map, which is at most 2 GiB; pages beyond it are in the connection's memory.
        run(connection_.get(), "PRAGMA mmap_size = 2147418112; PRAGMA cache_size = -4000000; BEGIN");
        statement_ = prepare(connection_.get(), "SELECT record FROM object WHERE name = ?1");
    }

    void answer(QuestionRange questions, char* answers) override
    {
        for (const PeerQuestion& question : questions) {
            *answers++ = decide(question) ? 1 : 0;
        }
    }

private:
    [[nodiscard]] bool decide(const PeerQuestion& question) const
    {
        sqlite3_stmt* statement = statement_.get();
        const std::string_view name = question.object.str();
        for (std::string_view text = name; !text.empty(); text = parentText(text)) {
            bindText(statement, 1, text);
            const int status = ::sqlite3_step(statement);
            if (status == SQLITE_ROW) {
                const void* data = ::sqlite3_column_blob(statement, 0);
                const EffectiveRecord record(data,
                                             static_cast<std::size_t>(::sqlite3_column_bytes(statement, 0)));
                const bool allowed = text.size() == name.size() ? record.allows(*question.caller)
                                                                : record.allowsBelow(*question.caller);
                ::sqlite3_reset(statement);
                return allowed;
            }
            if (status != SQLITE_DONE) {
                fail(connection_.get());
            }
            ::sqlite3_reset(statement);
        }
        return false;
    }

    ConnectionHandle connection_;
    StatementHandle statement_;
};

} // namespace

SqliteDatabase::SqliteDatabase(std::string path, std::uint64_t leaves) : path_(std::move(path))
{
    const ConnectionHandle connection = connect("file:" + path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    // None of this needs to survive a crash of the machine. Records are long for a tree of small pages: of 4,
    // 8 and 16 KiB the largest was the fastest.
    run(connection.get(), "PRAGMA page_size = 16384; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
                          "CREATE TABLE object(name TEXT PRIMARY KEY NOT NULL, record BLOB NOT NULL)"
                          " WITHOUT ROWID, STRICT;"
                          "BEGIN");
    const StatementHandle insert = prepare(connection.get(), "INSERT INTO object VALUES(?1, ?2)");
    visitRecords(leaves, [&](std::string_view key, std::string_view record) {
        bindText(insert.get(), 1, key);
        ::sqlite3_bind_blob(insert.get(), 2, record.data(), static_cast<int>(record.size()), SQLITE_STATIC);
        if (::sqlite3_step(insert.get()) != SQLITE_DONE) {
            fail(connection.get());
        }
        ::sqlite3_reset(insert.get());
    });
    run(connection.get(), "COMMIT");
}

ContenderKind SqliteDatabase::kind() const
{
    return {"SQLite", [path = path_] { return std::make_unique<Sqlite>(path); }};
}

} // namespace keepsafe_bench
