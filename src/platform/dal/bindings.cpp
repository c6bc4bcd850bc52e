#include "bindings.h"

#include <cstdint>
#include <cstring>

namespace Tessara::Dal {
namespace {

/// More parameters than any statement has: bounds the walk through a table without an end.
constexpr std::size_t MAX_PARAMETERS = 1000;

std::string checkColumn(const DalOdbcView::BindingStruct& column, std::size_t rowSize,
                        std::size_t resultColumns)
{
    if (column.kind != BINDING_RESULT) {
        return "is not a column of a result";
    }
    if (column.number == 0 || column.number > resultColumns) {
        return "has the number " + std::to_string(column.number) + " in a result of " +
               std::to_string(resultColumns) + " columns";
    }
    if (column.valueType != VALUE_TYPE_INT32 && column.valueType != VALUE_TYPE_TEXT) {
        return "has the unknown value type " + std::to_string(column.valueType);
    }
    if (column.length == 0 ||
        (column.valueType == VALUE_TYPE_INT32 && column.length != sizeof(std::int32_t))) {
        return "has a buffer of " + std::to_string(column.length) + " bytes";
    }
    if (column.length > rowSize || column.position > rowSize - column.length) {
        return "ends outside of the row record";
    }
    return {};
}

} // namespace

std::string checkParameters(const DalOdbcView::BindingStruct* parameters, std::size_t& count)
{
    count = 0;
    if (parameters == nullptr) {
        return {};
    }
    for (; parameters[count].number != 0; ++count) {
        const DalOdbcView::BindingStruct& parameter = parameters[count];
        if (count == MAX_PARAMETERS || parameter.number != count + 1 || parameter.kind != BINDING_INPUT ||
            parameter.valueType != VALUE_TYPE_TEXT || parameter.sqlType != SQL_TYPE_TEXT) {
            return "parameter " + std::to_string(count + 1) + " is not an input text with that number";
        }
        if (parameter.text != nullptr && std::memchr(parameter.text, '\0', parameter.length) != nullptr) {
            return "parameter " + std::to_string(count + 1) + " has a zero byte"; // drivers end there
        }
    }
    return {};
}

std::string checkColumns(const DalOdbcView::BindingStruct* columns, std::size_t count, std::size_t rowSize,
                         std::size_t resultColumns)
{
    if (columns == nullptr || count == 0) {
        return "no column is bound";
    }
    for (std::size_t at = 0; at < count; ++at) {
        const std::string wrong = checkColumn(columns[at], rowSize, resultColumns);
        if (!wrong.empty()) {
            const char* const name = columns[at].name;
            return "column \"" + std::string(name == nullptr ? "" : name) + "\" " + wrong;
        }
    }
    return {};
}

} // namespace Tessara::Dal
