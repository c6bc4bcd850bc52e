#include "decimal.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Text::parseDecimal;

TEST(ADecimal, IsReadUpToTheBoundsOfItsType)
{
    std::int32_t number = 0;
    EXPECT_EQ(parseDecimal("-2147483648", number), std::errc());
    EXPECT_EQ(number, INT32_MIN);
    EXPECT_EQ(parseDecimal("-0", number), std::errc());
    EXPECT_EQ(number, 0);
    EXPECT_EQ(parseDecimal("002147483647", number), std::errc());
    EXPECT_EQ(number, INT32_MAX);
}

TEST(ADecimal, OutsideTheBoundsChangesNothing)
{
    std::int32_t number = 7;
    for (const std::string text : {"2147483648", "-2147483649", "4294967297", "99999999999999999999"}) {
        EXPECT_EQ(parseDecimal(text, number), std::errc::result_out_of_range) << text;
    }
    EXPECT_EQ(number, 7);
}

TEST(ADecimal, IsTheWholeTextOrNone)
{
    std::int32_t number = 7;
    for (const std::string text : {"", "-", "+1", "--1", " 1", "1 ", "1,2", "0x1", "1.0", "1e3", "abc", "12x",
                                   "99999999999999999999x"}) {
        EXPECT_EQ(parseDecimal(text, number), std::errc::invalid_argument) << text;
    }
    std::uint32_t unsignedNumber = 7;
    EXPECT_EQ(parseDecimal("-1", unsignedNumber), std::errc::invalid_argument);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(unsignedNumber, 7U);
}

} // namespace
