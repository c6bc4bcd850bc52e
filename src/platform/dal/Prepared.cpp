#include "Prepared.h"

#include <algorithm>

namespace Tessara::Dal {

bool Prepared::prepare(unsigned int timeoutSeconds)
{
    if (!handle_) {
        return false;
    }
    setTimeout(handle_.get(), timeoutSeconds);
    return SQL_SUCCEEDED(
        SQLPrepare(handle_.get(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql_.c_str())), SQL_NTS));
}

bool Prepared::execute(const DalOdbcView::BindingStruct* parameters, std::size_t count)
{
    lengths_.resize(count);
    for (std::size_t at = 0; at < count; ++at) {
        const DalOdbcView::BindingStruct& parameter = parameters[at];
        lengths_[at] = parameter.text == nullptr ? SQL_NULL_DATA : static_cast<SQLLEN>(parameter.length);
        const auto size = std::max<SQLULEN>(parameter.length, 1);
        if (!SQL_SUCCEEDED(SQLBindParameter(handle_.get(), parameter.number, SQL_PARAM_INPUT, SQL_C_CHAR,
                                            SQL_VARCHAR, size, 0, const_cast<char*>(parameter.text),
                                            static_cast<SQLLEN>(parameter.length), &lengths_[at]))) {
            return false;
        }
    }
    const SQLRETURN result = SQLExecute(handle_.get());
    // SQL_NO_DATA: a command that changed no row.
    if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA) {
        return false;
    }
    SQLSMALLINT columns = 0;
    if (!SQL_SUCCEEDED(SQLNumResultCols(handle_.get(), &columns))) {
        return false;
    }
    columnCount_ = static_cast<std::size_t>(std::max<SQLSMALLINT>(columns, 0));
    return true;
}

void Prepared::close() noexcept
{
    SQLFreeStmt(handle_.get(), SQL_CLOSE);
    // The caller's parameters do not outlive their call.
    SQLFreeStmt(handle_.get(), SQL_RESET_PARAMS);
}

} // namespace Tessara::Dal
