#ifndef KEEPSAFE_SRC_PLATFORM_DAL_COLUMN_VALUE_H
#define KEEPSAFE_SRC_PLATFORM_DAL_COLUMN_VALUE_H

#include <cstddef>

#include <sql.h>
#include <sqlext.h>

namespace Tessara::Dal {

/// A driver's answer to a request for a column as text, without its terminating zero.
struct ColumnAnswer {
    SQLRETURN result; ///< of SQLGetData, not an error
    SQLLEN indicator; ///< bytes of the whole value, SQL_NULL_DATA or SQL_NO_TOTAL
};

/// Completes a text of which the driver put as much as fits into `buffer` of `size` bytes, at least 1.
/// Returns 0, or a status of the layer, and then the buffer has no useful content.
int finishText(const ColumnAnswer& answer, char* buffer, std::size_t size, bool rejectNull,
               bool allowTruncation);

} // namespace Tessara::Dal

#endif
