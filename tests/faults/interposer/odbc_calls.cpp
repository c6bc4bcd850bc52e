// Functions of the ODBC driver manager, with its names: those that the project calls.

#include <dlfcn.h>
#include <sql.h>
#include <sqlext.h>

#include "faults/interposer/faults.h"

namespace {

bool fails() noexcept { return keepsafe_test::mustFail(keepsafe_test::CallKind::Odbc); }

} // namespace

#define NEXT(name) reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name))

#define INTERPOSE(name, parameters, arguments)                                                               \
    extern "C" SQLRETURN SQL_API name parameters                                                             \
    {                                                                                                        \
        static const auto next = NEXT(name);                                                                 \
        return fails() ? static_cast<SQLRETURN>(SQL_ERROR) : next arguments;                                 \
    }

// What is released would otherwise be lost.
#define INTERPOSE_RELEASE(name, parameters, arguments)                                                       \
    extern "C" SQLRETURN SQL_API name parameters                                                             \
    {                                                                                                        \
        static const auto next = NEXT(name);                                                                 \
        const SQLRETURN result = next arguments;                                                             \
        return fails() ? static_cast<SQLRETURN>(SQL_ERROR) : result;                                         \
    }

INTERPOSE(SQLAllocHandle, (SQLSMALLINT type, SQLHANDLE from, SQLHANDLE* made), (type, from, made))
INTERPOSE(SQLBindParameter,
          (SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT use, SQLSMALLINT valueType, SQLSMALLINT type,
           SQLULEN size, SQLSMALLINT digits, SQLPOINTER value, SQLLEN room, SQLLEN* length),
          (statement, number, use, valueType, type, size, digits, value, room, length))
INTERPOSE(SQLDescribeCol,
          (SQLHSTMT statement, SQLUSMALLINT number, SQLCHAR* name, SQLSMALLINT room, SQLSMALLINT* length,
           SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT* digits, SQLSMALLINT* nullable),
          (statement, number, name, room, length, type, size, digits, nullable))
INTERPOSE(SQLDriverConnect,
          (SQLHDBC connection, SQLHWND window, SQLCHAR* text, SQLSMALLINT length, SQLCHAR* completed,
           SQLSMALLINT room, SQLSMALLINT* completedLength, SQLUSMALLINT completion),
          (connection, window, text, length, completed, room, completedLength, completion))
INTERPOSE(SQLExecDirect, (SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length), (statement, text, length))
INTERPOSE(SQLExecute, (SQLHSTMT statement), (statement))
INTERPOSE(SQLFetch, (SQLHSTMT statement), (statement))
INTERPOSE(SQLGetConnectAttr,
          (SQLHDBC connection, SQLINTEGER which, SQLPOINTER value, SQLINTEGER room, SQLINTEGER* length),
          (connection, which, value, room, length))
INTERPOSE(SQLGetData,
          (SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT type, SQLPOINTER value, SQLLEN room,
           SQLLEN* length),
          (statement, number, type, value, room, length))
INTERPOSE(SQLGetDiagRec,
          (SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLCHAR* state, SQLINTEGER* error,
           SQLCHAR* text, SQLSMALLINT room, SQLSMALLINT* length),
          (type, handle, number, state, error, text, room, length))
INTERPOSE(SQLGetInfo,
          (SQLHDBC connection, SQLUSMALLINT which, SQLPOINTER value, SQLSMALLINT room, SQLSMALLINT* length),
          (connection, which, value, room, length))
INTERPOSE(SQLNumParams, (SQLHSTMT statement, SQLSMALLINT* count), (statement, count))
INTERPOSE(SQLNumResultCols, (SQLHSTMT statement, SQLSMALLINT* count), (statement, count))
INTERPOSE(SQLPrepare, (SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length), (statement, text, length))
INTERPOSE(SQLSetConnectAttr, (SQLHDBC connection, SQLINTEGER which, SQLPOINTER value, SQLINTEGER length),
          (connection, which, value, length))
INTERPOSE(SQLSetEnvAttr, (SQLHENV environment, SQLINTEGER which, SQLPOINTER value, SQLINTEGER length),
          (environment, which, value, length))
INTERPOSE(SQLSetStmtAttr, (SQLHSTMT statement, SQLINTEGER which, SQLPOINTER value, SQLINTEGER length),
          (statement, which, value, length))
INTERPOSE(SQLEndTran, (SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion),
          (type, handle, completion))
INTERPOSE(SQLRowCount, (SQLHSTMT statement, SQLLEN* count), (statement, count))

INTERPOSE_RELEASE(SQLDisconnect, (SQLHDBC connection), (connection))
INTERPOSE_RELEASE(SQLFreeHandle, (SQLSMALLINT type, SQLHANDLE handle), (type, handle))
INTERPOSE_RELEASE(SQLFreeStmt, (SQLHSTMT statement, SQLUSMALLINT what), (statement, what))
