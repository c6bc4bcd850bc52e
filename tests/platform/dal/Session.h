#ifndef KEEPSAFE_TESTS_PLATFORM_DAL_SESSION_H
#define KEEPSAFE_TESTS_PLATFORM_DAL_SESSION_H

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <keepsafe/platform/dal/Dal.h>

namespace keepsafe_test {

namespace Dal = Tessara::Dal;

/// The record that the tests read rows into.
struct Record {
    std::int32_t number;
    char text[32];

    /// Every byte, so that a test sees what else a call wrote.
    [[nodiscard]] std::string bytes() const { return {reinterpret_cast<const char*>(this), sizeof(Record)}; }
    static Record filled()
    {
        Record record;
        std::memset(&record, '#', sizeof record);
        return record;
    }
};

inline const std::string ZEROED(sizeof(Record), '\0');

inline constexpr Dal::DalOdbcView::BindingStruct NUMBER_COLUMN = {
    1, "number", Dal::VALUE_TYPE_INT32, offsetof(Record, number), sizeof(std::int32_t)};
inline constexpr Dal::DalOdbcView::BindingStruct TEXT_COLUMN = {2, "text", Dal::VALUE_TYPE_TEXT,
                                                                offsetof(Record, text), sizeof(Record::text)};
inline constexpr std::array<Dal::DalOdbcView::BindingStruct, 2> COLUMNS = {NUMBER_COLUMN, TEXT_COLUMN};

inline constexpr auto VERBOSITY = static_cast<Dal::LOG_AT_VERBOSITY>(6);

/// A borrowed connection with a view on it.
class Session {
public:
    explicit Session(Dal::DbConnectionManager& manager) : guard(&manager, connection), view(connection) {}

    int command(const std::string& sql, const std::vector<const char*>& parameters = {})
    {
        return execute(sql, parameters, true);
    }
    int query(const std::string& sql, const std::vector<const char*>& parameters = {})
    {
        return execute(sql, parameters, false);
    }
    int fetch(Record& record, bool rejectNull = true, bool allowTruncation = false)
    {
        return connection->Fetch(&view, &record, sizeof record, COLUMNS.data(), COLUMNS.size(), &fetched,
                                 rejectNull, allowTruncation);
    }
    /// Fetches the one text column of a result.
    int fetchText(std::string& text, std::size_t bufferSize = 256)
    {
        std::vector<char> buffer(bufferSize, '#');
        const Dal::DalOdbcView::BindingStruct column = {1, "text", Dal::VALUE_TYPE_TEXT, 0, bufferSize};
        const int status =
            connection->Fetch(&view, buffer.data(), buffer.size(), &column, 1, &fetched, true, false);
        text = status == 0 ? buffer.data() : std::string(buffer.data(), buffer.size());
        return status;
    }
    int fetchNumber(std::int32_t& number)
    {
        const Dal::DalOdbcView::BindingStruct column = {1, "number", Dal::VALUE_TYPE_INT32, 0, sizeof number};
        return connection->Fetch(&view, &number, sizeof number, &column, 1, &fetched, true, false);
    }

    Dal::SSRDbConnection* connection = nullptr;
    Dal::SSRGuard guard;
    Dal::DbConnectionView view;
    unsigned long fetched = 99;

private:
    int execute(const std::string& sql, const std::vector<const char*>& parameters, bool isCommand)
    {
        if (guard.status() != 0) {
            return guard.status();
        }
        Dal::ParameterBinder binder;
        for (const char* const parameter : parameters) {
            binder.bindInputString(parameter, Dal::ZERO_TERMINATED, false);
        }
        return connection->Execute(&view, sql.c_str(), binder.get(), VERBOSITY, "Test", isCommand, false);
    }
};

/// Runs a command on a borrowed connection.
inline int runCommand(Dal::DbConnectionManager& manager, const std::string& sql)
{
    return Session(manager).command(sql);
}

/// Runs a query for one text; the status of the first step that fails.
inline int queryText(Dal::DbConnectionManager& manager, const std::string& sql, std::string& text)
{
    Session session(manager);
    const int status = session.query(sql);
    return status != 0 ? status : session.fetchText(text);
}

} // namespace keepsafe_test

#endif
