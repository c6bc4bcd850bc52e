#ifndef KEEPSAFE_SRC_PLATFORM_DAL_PREPARED_H
#define KEEPSAFE_SRC_PLATFORM_DAL_PREPARED_H

#include <cstddef>
#include <string>
#include <vector>

#include <keepsafe/platform/dal/Dal.h>

#include "odbc_handles.h"

namespace Tessara::Dal {

/// A prepared statement, and its result while it has one.
class Prepared {
public:
    Prepared(SQLHANDLE connection, std::string sql) : handle_(connection), sql_(std::move(sql)) {}

    /// False when ODBC refuses; the handle has the reason, if there is one.
    bool prepare(unsigned int timeoutSeconds);
    /// Binds `count` parameters of the table and runs the statement. False when ODBC refuses.
    bool execute(const DalOdbcView::BindingStruct* parameters, std::size_t count);
    /// Drops the result.
    void close() noexcept;

    [[nodiscard]] SQLHANDLE handle() const noexcept { return handle_.get(); }
    [[nodiscard]] const std::string& sql() const noexcept { return sql_; }
    [[nodiscard]] std::size_t parameterCount() const noexcept { return parameterCount_; }
    void setParameterCount(std::size_t count) noexcept { parameterCount_ = count; }
    /// Columns of the latest execution's result; 0 if it has none.
    [[nodiscard]] std::size_t columnCount() const noexcept { return columnCount_; }
    /// Whether it has run before its current use.
    [[nodiscard]] bool isReused() const noexcept { return reused_; }
    void markReused() noexcept { reused_ = true; }

private:
    StatementHandle handle_;
    std::string sql_;
    std::vector<SQLLEN> lengths_;
    std::size_t parameterCount_ = 0;
    std::size_t columnCount_ = 0;
    bool reused_ = false;
};

} // namespace Tessara::Dal

#endif
