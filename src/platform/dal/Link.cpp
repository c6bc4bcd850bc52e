#include "Link.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <keepsafe/platform/log/logmsg.h>

#include "ConnectTurn.h"
#include "driver_keywords.h"

namespace Tessara::Dal {
namespace {

using Keepsafe::Platform::LOG_LEVEL_ERROR;

/// The most prepared statements that a connection keeps. The library itself has two; statements with lists in
/// their text would accumulate.
constexpr std::size_t MOST_KEPT = 8;

/// The longest connection string: its length is passed on as a 16-bit integer.
constexpr std::size_t MAX_CONNECTION_STRING = 32000;

constexpr SQLINTEGER SQLITE_BUSY = 5;
constexpr SQLINTEGER SQLITE_LOCKED = 6;
constexpr SQLINTEGER SQLITE_CANTOPEN = 14;

bool isIn(const std::string& state, std::initializer_list<const char*> states)
{
    return std::any_of(states.begin(), states.end(), [&](const char* one) { return state == one; });
}

} // namespace

Link::Link(const Environment& environment, const DbConnectionSettings& settings)
    : handle_(environment.get()), secrets_(settings.connectionString),
      queryTimeoutSeconds_(settings.queryTimeoutSeconds)
{
    kept_.reserve(MOST_KEPT); // `keep` allocates nothing: destructors call it
}

Link::~Link()
{
    kept_.clear();
    if (connected_) {
        SQLDisconnect(handle_.get());
    }
}

std::unique_ptr<Link> Link::open(const Environment& environment, const DbConnectionSettings& settings,
                                 int& status)
{
    std::unique_ptr<Link> link(new Link(environment, settings));
    status = link->connect(settings);
    return status == 0 ? std::move(link) : nullptr;
}

int Link::connect(const DbConnectionSettings& settings)
{
    constexpr const char* TAG = "DbConnectionManager::connect";
    if (!handle_) {
        logmsgf(LOG_LEVEL_ERROR, TAG, "cannot allocate an ODBC connection handle");
        return STATUS_CONNECT_FAILED;
    }
    std::string text = withDriverKeywords(settings);
    if (text.size() > MAX_CONNECTION_STRING || text.find('\0') != std::string::npos) {
        logmsgf(LOG_LEVEL_ERROR, TAG, "the connection string is too long or holds a zero byte");
        return STATUS_CONNECT_FAILED;
    }
    SQLSetConnectAttr(handle_.get(), SQL_ATTR_LOGIN_TIMEOUT,
                      reinterpret_cast<SQLPOINTER>( // NOLINT(performance-no-int-to-ptr)
                          static_cast<std::uintptr_t>(settings.connectTimeoutSeconds)),
                      0);
    if (!SQL_SUCCEEDED(connectAs(text))) {
        const Diagnostic diagnostic = diagnosticOf(SQL_HANDLE_DBC, handle_.get());
        logmsgf(LOG_LEVEL_ERROR, TAG, "cannot connect to the database, SQLSTATE %s: %s%s",
                diagnostic.state.c_str(), secrets_.checked(diagnostic.message).c_str(),
                diagnostic.native == SQLITE_CANTOPEN && diagnostic.message.rfind("[SQLite]", 0) == 0
                    ? ": the file does not exist or cannot be opened"
                    : "");
        return STATUS_CONNECT_FAILED;
    }
    connected_ = true;
    std::array<char, 64> product{};
    SQLSMALLINT length = 0;
    SQLGetInfo(handle_.get(), SQL_DBMS_NAME, product.data(), static_cast<SQLSMALLINT>(product.size()),
               &length);
    product_ = product.data();
    reportMissingBound();
    return runOnConnect(settings);
}

SQLRETURN Link::connectAs(std::string& text)
{
    const ConnectTurn turn;
    return SQLDriverConnect(handle_.get(), nullptr, reinterpret_cast<SQLCHAR*>(text.data()),
                            static_cast<SQLSMALLINT>(text.size()), nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
}

/// A driver that cannot bound statements says so when it is asked to, by an error or by another value.
void Link::reportMissingBound()
{
    static std::atomic<bool> isReported{false};
    if (queryTimeoutSeconds_ == 0) {
        return;
    }
    StatementHandle probe(handle_.get());
    if (setTimeout(probe.get(), queryTimeoutSeconds_) == SQL_SUCCESS) {
        return;
    }
    const std::string state = diagnosticOf(SQL_HANDLE_STMT, probe.get()).state;
    const bool isMissing = isIn(state, {"01S02", "HYC00", "IM001"});
    if (isMissing && !isReported.exchange(true)) {
        logmsgf(Keepsafe::Platform::LOG_LEVEL_NOTABLE, "DbConnectionManager::connect",
                "the driver of %s cannot bound the time of a statement (SQLSTATE %s): a server that stops "
                "answering is waited for as long as the driver's own keywords say",
                product_.c_str(), state.c_str());
    }
}

int Link::runOnConnect(const DbConnectionSettings& settings)
{
    for (std::size_t at = 0; at < settings.onConnect.size(); ++at) {
        StatementHandle statement(handle_.get());
        setTimeout(statement.get(), settings.connectTimeoutSeconds);
        const std::string& sql = settings.onConnect[at];
        const SQLRETURN result = SQLExecDirect(
            statement.get(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str())), SQL_NTS);
        if (SQL_SUCCEEDED(result) || result == SQL_NO_DATA) {
            continue;
        }
        const Diagnostic diagnostic = diagnosticOf(SQL_HANDLE_STMT, statement.get());
        // A database may repeat a part of the statement.
        const std::string message = Secrets::mentions(sql) ? "(the statement may hold a secret)"
                                                           : secrets_.checked(diagnostic.message);
        logmsgf(LOG_LEVEL_ERROR, "DbConnectionManager::connect",
                "statement %zu for a new connection failed, SQLSTATE %s: %s", at + 1,
                diagnostic.state.c_str(), message.c_str());
        return STATUS_CONNECT_FAILED;
    }
    return 0;
}

std::unique_ptr<Prepared> Link::prepare(const std::string& sql, Failure& failure)
{
    const auto known = std::find_if(kept_.begin(), kept_.end(),
                                    [&](const auto& statement) { return statement->sql() == sql; });
    if (known != kept_.end()) {
        std::unique_ptr<Prepared> statement = std::move(*known);
        kept_.erase(known);
        statement->markReused();
        return statement;
    }
    auto statement = std::make_unique<Prepared>(handle_.get(), sql);
    SQLSMALLINT parameters = 0;
    {
        // PostgreSQL's driver no longer prepares on the server a statement that was asked for this number.
        Prepared counted(handle_.get(), sql);
        if (!counted.prepare(queryTimeoutSeconds_) ||
            !SQL_SUCCEEDED(SQLNumParams(counted.handle(), &parameters))) {
            failure = failureOf(counted);
            return nullptr;
        }
    }
    if (!statement->prepare(queryTimeoutSeconds_)) {
        failure = failureOf(*statement);
        return nullptr;
    }
    statement->setParameterCount(static_cast<std::size_t>(std::max<SQLSMALLINT>(parameters, 0)));
    return statement;
}

void Link::keep(std::unique_ptr<Prepared> statement)
{
    if (dead_) {
        return;
    }
    statement->close();
    if (kept_.size() == MOST_KEPT) {
        kept_.erase(kept_.begin());
    }
    kept_.push_back(std::move(statement));
}

SQLRETURN Link::runPlain(const char* sql, StatementHandle& statement) noexcept
{
    setTimeout(statement.get(), queryTimeoutSeconds_);
    return SQLExecDirect(statement.get(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql)), SQL_NTS);
}

bool Link::endTransaction() noexcept
try {
    if (isSqlite() || product_ == "PostgreSQL") {
        // Without a transaction, SQLite rejects a ROLLBACK and PostgreSQL writes a warning into its log. With
        // one, this statement fails or does nothing. Other databases would commit.
        StatementHandle begin(handle_.get());
        runPlain("BEGIN", begin);
    }
    // SQLEndTran is not enough: a driver that does not know of the transaction does nothing.
    StatementHandle rollback(handle_.get());
    if (SQL_SUCCEEDED(runPlain("ROLLBACK", rollback)) &&
        SQL_SUCCEEDED(SQLEndTran(SQL_HANDLE_DBC, handle_.get(), SQL_ROLLBACK))) {
        return true;
    }
    const Diagnostic diagnostic = diagnosticOf(SQL_HANDLE_STMT, rollback.get());
    logmsgf(Keepsafe::Platform::LOG_LEVEL_NOTABLE, "SSRGuard::~SSRGuard",
            "cannot end the transaction of a connection, which is closed: SQLSTATE %s: %s",
            diagnostic.state.c_str(), secrets_.checked(diagnostic.message).c_str());
    return false;
} catch (...) {
    return false; // no memory for the message
}

Failure Link::failureOf(const Prepared& statement)
{
    const Diagnostic diagnostic = statement.handle() == SQL_NULL_HANDLE
                                      ? diagnosticOf(SQL_HANDLE_DBC, handle_.get())
                                      : diagnosticOf(SQL_HANDLE_STMT, statement.handle());
    return {classify(diagnostic),
            "SQLSTATE " + diagnostic.state + ": " + secrets_.checked(diagnostic.message)};
}

int Link::classify(const Diagnostic& diagnostic)
{
    SQLUINTEGER dead = SQL_CD_FALSE;
    SQLGetConnectAttr(handle_.get(), SQL_ATTR_CONNECTION_DEAD, &dead, sizeof dead, nullptr);
    if (dead == SQL_CD_TRUE || diagnostic.stateClass() == "08" ||
        isIn(diagnostic.state, {"57P01", "57P02", "57P03"})) {
        dead_ = true;
        return STATUS_CONNECTION_LOST;
    }
    if (isIn(diagnostic.state, {"57014", "55P03", "HYT00", "HYT01"}) ||
        (isSqlite() && (diagnostic.native == SQLITE_BUSY || diagnostic.native == SQLITE_LOCKED))) {
        return STATUS_TIMED_OUT;
    }
    return STATUS_STATEMENT_FAILED;
}

} // namespace Tessara::Dal
