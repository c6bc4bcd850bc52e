#ifndef KEEPSAFE_SRC_PLATFORM_DAL_ODBC_HANDLES_H
#define KEEPSAFE_SRC_PLATFORM_DAL_ODBC_HANDLES_H

#include <cstdint>
#include <string>

#include <sql.h>
#include <sqlext.h>

namespace Tessara::Dal {

/// Owner of an ODBC handle. A handle must be freed before the one that it was allocated under.
template <SQLSMALLINT TYPE>
class OdbcHandle {
public:
    OdbcHandle() = default;
    explicit OdbcHandle(SQLHANDLE parent) noexcept
    {
        if (!SQL_SUCCEEDED(SQLAllocHandle(TYPE, parent, &raw_))) {
            raw_ = SQL_NULL_HANDLE;
        }
    }
    ~OdbcHandle()
    {
        if (raw_ != SQL_NULL_HANDLE) {
            SQLFreeHandle(TYPE, raw_);
        }
    }
    OdbcHandle(const OdbcHandle&) = delete;
    OdbcHandle& operator=(const OdbcHandle&) = delete;

    explicit operator bool() const noexcept { return raw_ != SQL_NULL_HANDLE; }
    [[nodiscard]] SQLHANDLE get() const noexcept { return raw_; }

private:
    SQLHANDLE raw_ = SQL_NULL_HANDLE;
};

using ConnectionHandle = OdbcHandle<SQL_HANDLE_DBC>;
using StatementHandle = OdbcHandle<SQL_HANDLE_STMT>;

/// An ODBC environment of version 3.
class Environment {
public:
    Environment() noexcept : handle_(SQL_NULL_HANDLE)
    {
        if (handle_) {
            // The version is a number in the place of a pointer.
            SQLSetEnvAttr(handle_.get(), SQL_ATTR_ODBC_VERSION,
                          reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), // NOLINT(performance-no-int-to-ptr)
                          0);
        }
    }
    [[nodiscard]] SQLHANDLE get() const noexcept { return handle_.get(); }

private:
    OdbcHandle<SQL_HANDLE_ENV> handle_;
};

/// Asks the driver to bound each execution of the statement; 0 for no bound. PostgreSQL's driver turns it
/// into the server's statement_timeout; SQLite's ignores it.
inline SQLRETURN setTimeout(SQLHANDLE statement, unsigned int seconds) noexcept
{
    // The attribute is a number in the place of a pointer.
    return SQLSetStmtAttr(statement, SQL_ATTR_QUERY_TIMEOUT,
                          reinterpret_cast<SQLPOINTER>( // NOLINT(performance-no-int-to-ptr)
                              static_cast<std::uintptr_t>(seconds)),
                          0);
}

/// What ODBC says about the last call on a handle.
struct Diagnostic {
    std::string state; ///< SQLSTATE, five characters
    SQLINTEGER native = 0;
    std::string message;

    /// The class of the state, its first two characters.
    [[nodiscard]] std::string stateClass() const { return state.substr(0, 2); }
};

/// The first diagnostic record; a general one if there is none.
Diagnostic diagnosticOf(SQLSMALLINT handleType, SQLHANDLE handle);

} // namespace Tessara::Dal

#endif
