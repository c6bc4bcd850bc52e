#include "column_value.h"

#include <cstring>

#include <keepsafe/platform/dal/Dal.h>

namespace Tessara::Dal {

int finishText(const ColumnAnswer& answer, char* buffer, std::size_t size, bool rejectNull,
               bool allowTruncation)
{
    if (answer.indicator == SQL_NULL_DATA) {
        buffer[0] = '\0';
        return rejectNull ? STATUS_UNEXPECTED_NULL : 0;
    }
    const bool isUnknown = answer.indicator == SQL_NO_TOTAL;
    if (answer.indicator < 0 && !isUnknown) {
        return STATUS_VALUE_UNUSABLE;
    }
    std::size_t length = isUnknown ? size : static_cast<std::size_t>(answer.indicator);
    if (length >= size) {
        if (!allowTruncation) {
            return isUnknown ? STATUS_VALUE_UNUSABLE : STATUS_VALUE_TOO_LONG;
        }
        // Of a text of unknown length the driver's zero is the only sign of its end.
        buffer[size - 1] = '\0';
        length = isUnknown ? std::strlen(buffer) : size - 1;
    }
    if (std::memchr(buffer, '\0', length) != nullptr) {
        return STATUS_VALUE_UNUSABLE;
    }
    buffer[length] = '\0';
    return 0;
}

} // namespace Tessara::Dal
