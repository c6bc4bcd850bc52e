#include "tokens/BareQuery.h"

#include <stdexcept>

#include <sql.h>
#include <sqlext.h>

namespace keepsafe_bench {

namespace {

SQLCHAR* textOf(const std::string& text)
{
    return const_cast<SQLCHAR*>(reinterpret_cast<const SQLCHAR*>(text.c_str()));
}

void require(SQLRETURN result, const char* what)
{
    if (!SQL_SUCCEEDED(result)) {
        throw std::runtime_error(std::string(what) + " failed");
    }
}

} // namespace

BareQuery::BareQuery(const std::string& connectionString, const std::vector<std::string>& onConnect)
{
    require(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_), "SQLAllocHandle");
    require(SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
            "SQLSetEnvAttr");
    require(SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_), "SQLAllocHandle");
    require(SQLDriverConnect(connection_, nullptr, textOf(connectionString), SQL_NTS, nullptr, 0, nullptr,
                             SQL_DRIVER_NOPROMPT),
            "SQLDriverConnect");
    for (const std::string& statement : onConnect) {
        SQLHSTMT handle = nullptr;
        require(SQLAllocHandle(SQL_HANDLE_STMT, connection_, &handle), "SQLAllocHandle");
        require(SQLExecDirect(handle, textOf(statement), SQL_NTS), "SQLExecDirect");
        SQLFreeHandle(SQL_HANDLE_STMT, handle);
    }
}

BareQuery::~BareQuery()
{
    SQLDisconnect(connection_);
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
}

std::size_t BareQuery::once(const std::string& jti) const
{
    static const std::string SQL =
        "SELECT AzTokenValue FROM AUTH_MAIN.AUTH_Access_Token_Details WHERE SessionTokenValue = ?";
    SQLHSTMT statement = nullptr;
    SQLAllocHandle(SQL_HANDLE_STMT, connection_, &statement);
    SQLLEN jtiLength = static_cast<SQLLEN>(jti.size());
    SQLBindParameter(statement, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, jti.size(), 0, textOf(jti),
                     jtiLength, &jtiLength);
    SQLExecDirect(statement, textOf(SQL), SQL_NTS);
    char token[32001];
    SQLLEN length = 0;
    SQLBindCol(statement, 1, SQL_C_CHAR, token, sizeof token, &length);
    const bool found = SQL_SUCCEEDED(SQLFetch(statement));
    SQLFreeHandle(SQL_HANDLE_STMT, statement);
    return found && length > 0 ? static_cast<std::size_t>(length) : 0;
}

} // namespace keepsafe_bench
