#include "bindings.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace Dal = Tessara::Dal;
using Binding = Dal::DalOdbcView::BindingStruct;
using Dal::VALUE_TYPE_INT32;
using Dal::VALUE_TYPE_TEXT;

/// What is wrong with one column of a record of 100 bytes and a result of 3 columns.
std::string wrongWith(const Binding& column) { return Dal::checkColumns(&column, 1, 100, 3); }

TEST(CheckColumns, TakesColumnsThatLieInTheRecord)
{
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_INT32, 0, 4}), "");
    EXPECT_EQ(wrongWith({3, "a", VALUE_TYPE_INT32, 96, 4}), "");
    EXPECT_EQ(wrongWith({2, "a", VALUE_TYPE_TEXT, 0, 100}), "");
    EXPECT_EQ(wrongWith({2, nullptr, VALUE_TYPE_TEXT, 99, 1}), "");
}

TEST(CheckColumns, NamesWhatIsWrong)
{
    EXPECT_EQ(wrongWith({0, "a", VALUE_TYPE_INT32, 0, 4}),
              "column \"a\" has the number 0 in a result of 3 columns");
    EXPECT_EQ(wrongWith({4, "a", VALUE_TYPE_INT32, 0, 4}),
              "column \"a\" has the number 4 in a result of 3 columns");
    EXPECT_EQ(wrongWith({1, "a", 991, 0, 4}), "column \"a\" has the unknown value type 991");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_TEXT, 0, 0}), "column \"a\" has a buffer of 0 bytes");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_INT32, 0, 3}), "column \"a\" has a buffer of 3 bytes");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_INT32, 0, 8}), "column \"a\" has a buffer of 8 bytes");
    EXPECT_EQ(wrongWith({1, nullptr, VALUE_TYPE_INT32, 97, 4}), "column \"\" ends outside of the row record");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_TEXT, 1, 100}), "column \"a\" ends outside of the row record");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_TEXT, 0, 101}), "column \"a\" ends outside of the row record");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_TEXT, ~std::size_t{0}, 2}),
              "column \"a\" ends outside of the row record");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_TEXT, 2, ~std::size_t{0}}),
              "column \"a\" ends outside of the row record");
    EXPECT_EQ(wrongWith({1, "a", VALUE_TYPE_TEXT, 0, 4, Dal::BINDING_INPUT}),
              "column \"a\" is not a column of a result");
}

TEST(CheckColumns, WantsAColumn)
{
    const Binding column = {1, "a", VALUE_TYPE_INT32, 0, 4};
    EXPECT_EQ(Dal::checkColumns(nullptr, 1, 100, 3), "no column is bound");
    EXPECT_EQ(Dal::checkColumns(&column, 0, 100, 3), "no column is bound");
}

std::string wrongWith(const std::vector<Binding>& parameters, std::size_t& count)
{
    return Dal::checkParameters(parameters.data(), count);
}

constexpr Binding END = {0, nullptr, 0, 0, 0};

Binding input(unsigned short number)
{
    return {number, "ptr", VALUE_TYPE_TEXT, 0, 1, Dal::BINDING_INPUT, Dal::SQL_TYPE_TEXT, "x"};
}

TEST(CheckParameters, CountsThem)
{
    std::size_t count = 99;
    EXPECT_EQ(Dal::checkParameters(nullptr, count), "");
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(wrongWith({END}, count), "");
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(wrongWith({input(1), input(2), END}, count), "");
    EXPECT_EQ(count, 2U);
}

TEST(CheckParameters, NamesTheOneThatIsWrong)
{
    std::size_t count = 0;
    Binding integer = input(2);
    integer.valueType = VALUE_TYPE_INT32;
    Binding column = input(2);
    column.kind = Dal::BINDING_RESULT;
    Binding otherSqlType = input(2);
    otherSqlType.sqlType = 0;
    for (const Binding& wrong : {integer, column, otherSqlType, input(1), input(3)}) {
        EXPECT_EQ(wrongWith({input(1), wrong, END}, count),
                  "parameter 2 is not an input text with that number");
    }
}

TEST(CheckParameters, RefusesATextWithAZeroByteInside)
{
    std::size_t count = 0;
    Binding text = input(1);
    text.text = "ab\0cd";
    text.length = 5;
    EXPECT_EQ(wrongWith({text, END}, count), "parameter 1 has a zero byte");
    text.length = 2;
    EXPECT_EQ(wrongWith({text, END}, count), "");
}

TEST(CheckParameters, DoesNotWalkATableWithoutAnEnd)
{
    std::vector<Binding> parameters;
    for (unsigned short number = 1; number <= 1001; ++number) {
        parameters.push_back(input(number));
    }
    std::size_t count = 0;
    EXPECT_EQ(wrongWith(parameters, count), "parameter 1001 is not an input text with that number");
}

} // namespace
