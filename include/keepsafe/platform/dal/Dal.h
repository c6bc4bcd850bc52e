#ifndef KEEPSAFE_PLATFORM_DAL_DAL_H
#define KEEPSAFE_PLATFORM_DAL_DAL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <keepsafe/platform/export/export.h>

/// \file
/// The product's database access layer: pooled connections, statements with bound parameters and rows
/// with bound columns, over ODBC. Reading a row works as follows; every object releases what it holds when it
/// is destroyed:
///
///     Tessara::Dal::SSRDbConnection* connection = nullptr;
///     Tessara::Dal::SSRGuard guard(&manager, connection);          // 1. borrow: guard.status()
///     Tessara::Dal::DbConnectionView view(connection);             // 2. open:   view.status()
///     Tessara::Dal::ParameterBinder parameters;
///     parameters.bindInputString(name.c_str(), Tessara::Dal::ZERO_TERMINATED, false);
///     int status = connection->Execute(&view, "SELECT ... WHERE Name = ?", parameters.get(), verbosity, tag,
///                                      false, true);               // 3. run
///     status = connection->Fetch(&view, &row, sizeof row, columns, columnCount, &fetched, true, false);
///
/// Only `std::bad_alloc` is thrown; operations report by status, 0 for success. A connection string is never
/// written to a log.

namespace Tessara::Dal {

/// Statuses of this layer, beside 0.
inline constexpr int STATUS_NOT_CONFIGURED = 2007001;     ///< no connection string is configured
inline constexpr int STATUS_CONNECT_FAILED = 2007002;     ///< the database cannot be reached or refuses
inline constexpr int STATUS_NO_FREE_CONNECTION = 2007003; ///< all connections stayed lent for too long
inline constexpr int STATUS_CONNECTION_LOST = 2007004;    ///< the connection died while it was in use
inline constexpr int STATUS_STATEMENT_FAILED = 2007005;   ///< the database rejected the statement
inline constexpr int STATUS_TIMED_OUT = 2007006;          ///< the statement took longer than it may
inline constexpr int STATUS_BAD_BINDING = 2007007;        ///< a parameter or column binding makes no sense
inline constexpr int STATUS_VALUE_TOO_LONG = 2007008;     ///< a value does not fit the buffer of its column
inline constexpr int STATUS_UNEXPECTED_NULL = 2007009;    ///< a column holds no value
inline constexpr int STATUS_VALUE_UNUSABLE = 2007010;     ///< a value's length or type cannot be represented
inline constexpr int STATUS_BAD_CALL = 2007011; ///< a call that makes no sense here, or a missing argument
inline constexpr int STATUS_NO_MORE_ROWS = 2007031; ///< no row is left

/// Codes of value types in a binding, and of the SQL type of a parameter.
inline constexpr int VALUE_TYPE_INT32 = 992; ///< a 32-bit signed integer, 4 bytes
inline constexpr int VALUE_TYPE_TEXT = 1000; ///< bytes with a zero behind the last one
inline constexpr int SQL_TYPE_TEXT = 1002;   ///< a text parameter
inline constexpr int BINDING_RESULT = 0;     ///< a column of a result
inline constexpr int BINDING_INPUT = 1;      ///< an input parameter
inline constexpr int ZERO_TERMINATED = -3;   ///< size of a parameter that ends at its first zero byte

/// Whose database account a manager uses. The connection string has the account; the value is kept for
/// callers that pass it on.
enum USERID_TYPES : unsigned int { APPLICATION_USER = 6 };

/// Verbosity of the debug message about a statement: see `logmsgvf`.
enum LOG_AT_VERBOSITY : int {};

/// How a manager connects and pools. A timeout of 0 means no bound, a maximum of 0 counts as 1.
struct DbConnectionSettings {
    /// ODBC connection string, for example "Driver=SQLite3;Database=/var/lib/x/main.db;". May hold a
    /// password.
    std::string connectionString;
    /// Statements run on every new connection, in order. A connection on which one fails is not used.
    std::vector<std::string> onConnect;
    unsigned int minimumConnections = 1; ///< idle connections that are kept however long they are idle
    unsigned int maximumConnections = 8; ///< connections open at once
    unsigned int connectRetries = 0;     ///< further attempts after a failed one
    unsigned int retryWaitSeconds = 1;   ///< pause before each of them
    unsigned int idleSeconds = 30;       ///< a connection idle for longer is closed
    /// Bound of one attempt, of each statement run on connect, and of the wait for a free connection.
    unsigned int connectTimeoutSeconds = 15;
    /// Bound of one statement. With SQLite it bounds the wait for a locked database, not the time of a long
    /// computation; it is shortened to what one connection attempt leaves for each of its statements.
    unsigned int queryTimeoutSeconds = 40;
};

class DbConnection;
class SSRDbConnection;

/// A pool of connections to one database. Connections are made on demand, up to the maximum; a dead one is
/// replaced, and when one is found dead, the idle ones are closed as well; one that has been idle too long is
/// closed at the next use of the pool. Any thread; no lock is held while a database works. Must outlive its
/// guards.
///
/// fork: parent and child would talk over the same connections. A manager is used, and destroyed, in one of
/// the two processes only; the other one leaves it alone and ends with `_exit` or `exec`.
class KEEPSAFE_API DbConnectionManager {
public:
    /// Takes the connection string and the statements to run on connect from the product's configuration
    /// (`[database]` of `config.h`), again for every new connection. The numbers are those of
    /// `DbConnectionSettings`, in its order. `connectNow`: opens one connection at once, so that
    /// `connectionIndicator` shows whether the database can be reached.
    DbConnectionManager(unsigned int minimumConnections, unsigned int maximumConnections,
                        unsigned int connectRetries, unsigned int retryWaitSeconds, unsigned int idleSeconds,
                        unsigned int connectTimeoutSeconds, unsigned int queryTimeoutSeconds,
                        USERID_TYPES userIdType, bool connectNow);

    /// Connects as `settings` says; the configuration is not read.
    explicit DbConnectionManager(const DbConnectionSettings& settings);

    ~DbConnectionManager();
    DbConnectionManager(const DbConnectionManager&) = delete;
    DbConnectionManager& operator=(const DbConnectionManager&) = delete;

    /// The number of connections open now, lent ones included; 0 when there is none.
    [[nodiscard]] std::uint32_t connectionIndicator() const noexcept;

private:
    friend class SSRGuard;
    class Pool;
    std::unique_ptr<Pool> pool_;
};

/// A statement handle on a connection, and the form of bindings.
class KEEPSAFE_API DalOdbcView {
public:
    /// One column of a result and where its value goes, or one input parameter. A table of parameters ends
    /// with an entry of number 0.
    struct BindingStruct {
        unsigned short number; ///< from 1: place in the select list, or of the parameter marker
        const char* name;      ///< for messages
        int valueType;         ///< `VALUE_TYPE_INT32` or `VALUE_TYPE_TEXT`
        std::size_t position;  ///< column: offset of the value in the row record, in bytes
        std::size_t length;    ///< column: size of the buffer there; parameter: bytes of the text
        int kind = BINDING_RESULT;
        int sqlType = 0;            ///< parameter: `SQL_TYPE_TEXT`
        const char* text = nullptr; ///< parameter: the value; null stands for SQL's NULL
    };

    DalOdbcView(const DalOdbcView&) = delete;
    DalOdbcView& operator=(const DalOdbcView&) = delete;

    /// 0 when the handle is open.
    [[nodiscard]] int status() const noexcept;

protected:
    explicit DalOdbcView(DbConnection* connection);
    ~DalOdbcView();

private:
    friend class DbConnection;
    class Result;
    DbConnection* connection_;
    std::unique_ptr<Result> result_;
};

/// A connection, as a guard lends it. One thread at a time.
class KEEPSAFE_API DbConnection {
public:
    DbConnection(const DbConnection&) = delete;
    DbConnection& operator=(const DbConnection&) = delete;

    /// Runs a statement on the view. A result that the view still had is dropped. A query is repeated once,
    /// on a new connection, when the one that was idle in the pool proves dead; a command never is.
    /// `parameters`: one entry for each marker "?" and an entry of number 0 at the end; null for none. Texts
    ///     that are not copied must live until the call returns.
    /// `verbosity`, `tag`: the debug message that names the statement; never the values of its parameters.
    /// `isCommand`: the statement changes data and gives no rows. A command that gives rows and a query that
    ///     gives no columns are rejected, after they ran.
    /// `singleRow`: at most one row will be fetched. No driver has a use for that yet.
    [[nodiscard]] int Execute(DalOdbcView* view, const char* sql,
                              const DalOdbcView::BindingStruct* parameters, LOG_AT_VERBOSITY verbosity,
                              const char* tag, bool isCommand, bool singleRow);

    /// Reads the next row of the view's result into the record `row` of `rowSize` bytes, as `columns` say.
    /// `fetched`, unless null, becomes 1 when a row was read and 0 otherwise.
    /// `rejectNull`: a column without a value is an error; otherwise it reads as 0 or an empty text.
    /// `allowTruncation`: a text that does not fit is cut; otherwise it is an error.
    ///
    /// If a row cannot be read completely, the record is filled with zeros, so that part of a value is never
    /// taken for the value.
    ///
    /// A text with a zero byte inside is an error. (SQLite's driver ends a text there itself, unseen.) An
    /// integer may come from any column whose text is a decimal number of 32 bits.
    [[nodiscard]] int Fetch(DalOdbcView* view, void* row, unsigned long rowSize,
                            const DalOdbcView::BindingStruct* columns, unsigned long columnCount,
                            unsigned long* fetched, bool rejectNull, bool allowTruncation);

    /// What the database calls itself, for example "PostgreSQL". Valid until the next statement.
    [[nodiscard]] const char* product() const noexcept;

protected:
    class State;
    explicit DbConnection(std::unique_ptr<State> state);
    ~DbConnection();

private:
    friend class DalOdbcView;
    friend class DbConnectionManager;
    std::unique_ptr<State> state_;
};

/// A connection of a manager's pool, which alone makes and deletes it.
class KEEPSAFE_API SSRDbConnection : public DbConnection {
private:
    friend class DbConnectionManager;
    explicit SSRDbConnection(std::unique_ptr<State> state);
    ~SSRDbConnection() = default;
};

/// Borrows a connection of a manager while it lives; if all are lent, waits for as long as a connection
/// attempt may take.
///
/// A transaction that is still open at the end is rolled back before anybody else gets the connection; if
/// that fails, the connection is closed. Whoever wants to keep changes commits them before. A connection that
/// has run single queries alone, "SELECT ..." without a semicolon, goes back without a further statement.
/// What a database keeps beside transactions, such as settings and temporary tables, stays with the
/// connection.
class KEEPSAFE_API SSRGuard {
public:
    /// Sets `connection` to the connection, or to null when `status()` is not 0.
    SSRGuard(DbConnectionManager* manager, SSRDbConnection*& connection);
    ~SSRGuard();
    SSRGuard(const SSRGuard&) = delete;
    SSRGuard& operator=(const SSRGuard&) = delete;

    [[nodiscard]] int status() const noexcept { return status_; }

private:
    DbConnectionManager* manager_;
    SSRDbConnection* connection_ = nullptr;
    int status_;
};

/// Opens a statement handle on a connection while it lives, and closes it before the connection goes back.
class KEEPSAFE_API DbConnectionView : public DalOdbcView {
public:
    explicit DbConnectionView(DbConnection* connection);
    ~DbConnectionView();
};

/// The input parameters of a statement, in the order of their markers. One thread at a time.
class KEEPSAFE_API ParameterBinder {
public:
    ParameterBinder();
    ~ParameterBinder();
    ParameterBinder(const ParameterBinder&) = delete;
    ParameterBinder& operator=(const ParameterBinder&) = delete;

    /// Adds a text parameter named "ptr". `size`: its bytes, or `ZERO_TERMINATED`. `copy`: the binder keeps a
    /// copy of the text; otherwise only the pointer. A null text stands for SQL's NULL.
    void bindInputString(const char* text, int size, bool copy);

    /// The table for `Execute`, valid until the next change of the binder.
    [[nodiscard]] const DalOdbcView::BindingStruct* get() const noexcept;

private:
    std::vector<DalOdbcView::BindingStruct> bindings_;
    std::vector<std::unique_ptr<const std::string>> copies_;
};

} // namespace Tessara::Dal

#endif
