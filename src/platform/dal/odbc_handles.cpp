#include "odbc_handles.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Tessara::Dal {

Diagnostic diagnosticOf(SQLSMALLINT handleType, SQLHANDLE handle)
{
    std::array<SQLCHAR, SQL_SQLSTATE_SIZE + 1> state{};
    std::array<SQLCHAR, SQL_MAX_MESSAGE_LENGTH + 1> message{};
    SQLSMALLINT length = 0;
    Diagnostic diagnostic;
    if (!SQL_SUCCEEDED(SQLGetDiagRec(handleType, handle, 1, state.data(), &diagnostic.native, message.data(),
                                     static_cast<SQLSMALLINT>(message.size()), &length))) {
        return {"HY000", 0, "no diagnostic"};
    }
    diagnostic.state = reinterpret_cast<const char*>(state.data());
    diagnostic.message = reinterpret_cast<const char*>(message.data());
    // Drivers break and end their messages with line feeds.
    std::replace(diagnostic.message.begin(), diagnostic.message.end(), '\n', ' ');
    while (!diagnostic.message.empty() && diagnostic.message.back() == ' ') {
        diagnostic.message.pop_back();
    }
    return diagnostic;
}

} // namespace Tessara::Dal
