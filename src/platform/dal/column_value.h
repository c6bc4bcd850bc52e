#ifndef KEEPSAFE_SRC_PLATFORM_DAL_COLUMN_VALUE_H
#define KEEPSAFE_SRC_PLATFORM_DAL_COLUMN_VALUE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <sql.h>
#include <sqlext.h>

namespace Tessara::Dal {

/// What a driver answered when it was asked for a column as text, without its zero.
struct ColumnAnswer {
    SQLRETURN result; ///< of SQLGetData, not an error
    SQLLEN indicator; ///< bytes of the whole value, SQL_NULL_DATA or SQL_NO_TOTAL
};

/// Finishes a text of which the driver put as much as fits into `buffer` of `size` bytes, at least 1. Returns
/// 0 or a status of the layer; the buffer then holds nothing of use.
int finishText(const ColumnAnswer& answer, char* buffer, std::size_t size, bool rejectNull,
               bool allowTruncation);

/// Reads a decimal integer of 32 bits, of an optional '-' and digits alone.
bool readInt32(std::string_view text, std::int32_t& value);

} // namespace Tessara::Dal

#endif
