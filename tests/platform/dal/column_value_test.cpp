#include "column_value.h"

#include <cstring>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/dal/Dal.h>

namespace {

namespace Dal = Tessara::Dal;

struct TextCase {
    const char* name;
    SQLRETURN result;
    SQLLEN indicator;
    std::string written; ///< what the driver put into a buffer of 8 bytes
    bool rejectNull;
    bool allowTruncation;
    int status;
    std::string text;

    friend std::ostream& operator<<(std::ostream& stream, const TextCase& value)
    {
        return stream << value.name;
    }
};

std::string caseName(const testing::TestParamInfo<TextCase>& info) { return info.param.name; }

class FinishText : public testing::TestWithParam<TextCase> {};

TEST_P(FinishText, GivesTheWholeTextOrAStatus)
{
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    GetParam().written.copy(buffer, sizeof buffer);
    const Dal::ColumnAnswer answer{GetParam().result, GetParam().indicator};
    ASSERT_EQ(
        Dal::finishText(answer, buffer, sizeof buffer, GetParam().rejectNull, GetParam().allowTruncation),
        GetParam().status);
    if (GetParam().status == 0) {
        EXPECT_EQ(std::string(buffer), GetParam().text);
    }
}

const std::string SEVEN("1234567\0", 8);

INSTANTIATE_TEST_SUITE_P(
    DriverAnswers, FinishText,
    testing::Values(TextCase{"short", SQL_SUCCESS, 2, std::string("ab\0", 3), true, false, 0, "ab"},
                    TextCase{"empty", SQL_SUCCESS, 0, std::string("\0", 1), true, false, 0, ""},
                    TextCase{"fills_the_buffer", SQL_SUCCESS, 7, SEVEN, true, false, 0, "1234567"},
                    TextCase{"one_too_long", SQL_SUCCESS_WITH_INFO, 8, SEVEN, true, false,
                             Dal::STATUS_VALUE_TOO_LONG, ""},
                    TextCase{"longer_without_a_warning", SQL_SUCCESS, 9, SEVEN, true, false,
                             Dal::STATUS_VALUE_TOO_LONG, ""},
                    TextCase{"cut_on_request", SQL_SUCCESS_WITH_INFO, 40000, SEVEN, true, true, 0, "1234567"},
                    TextCase{"unknown_length", SQL_SUCCESS_WITH_INFO, SQL_NO_TOTAL, SEVEN, true, false,
                             Dal::STATUS_VALUE_UNUSABLE, ""},
                    TextCase{"unknown_length_without_a_warning", SQL_SUCCESS, SQL_NO_TOTAL,
                             std::string("ab\0", 3), true, false, Dal::STATUS_VALUE_UNUSABLE, ""},
                    TextCase{"unknown_length_cut_on_request", SQL_SUCCESS_WITH_INFO, SQL_NO_TOTAL, SEVEN,
                             true, true, 0, "1234567"},
                    TextCase{"length_that_is_none", SQL_SUCCESS, -7, SEVEN, true, true,
                             Dal::STATUS_VALUE_UNUSABLE, ""},
                    TextCase{"null_rejected", SQL_SUCCESS, SQL_NULL_DATA, "", true, false,
                             Dal::STATUS_UNEXPECTED_NULL, ""},
                    TextCase{"null_accepted", SQL_SUCCESS, SQL_NULL_DATA, "", false, false, 0, ""},
                    TextCase{"zero_byte_inside", SQL_SUCCESS, 5, std::string("ab\0cd\0", 6), true, false,
                             Dal::STATUS_VALUE_UNUSABLE, ""},
                    TextCase{"zero_byte_at_the_end", SQL_SUCCESS, 3, std::string("ab\0\0", 4), true, false,
                             Dal::STATUS_VALUE_UNUSABLE, ""},
                    TextCase{"zero_byte_in_what_is_left", SQL_SUCCESS_WITH_INFO, 20,
                             std::string("ab\0cdef\0", 8), true, true, Dal::STATUS_VALUE_UNUSABLE, ""}),
    caseName);

} // namespace
