#include "time_units.h"

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Text::secondsOf;

TEST(AUnitOfTime, IsSoManyOfTheNextSmallerOne)
{
    EXPECT_EQ(secondsOf('s'), 1);
    EXPECT_EQ(secondsOf('m'), 60 * secondsOf('s'));
    EXPECT_EQ(secondsOf('h'), 60 * secondsOf('m'));
    EXPECT_EQ(secondsOf('d'), 24 * secondsOf('h'));
    EXPECT_EQ(secondsOf('w'), 7 * secondsOf('d'));
}

TEST(AUnitOfTime, IsALowerCaseLetter)
{
    for (const char none : {'S', 'H', 'y', '0', ' ', '\0'}) {
        EXPECT_EQ(secondsOf(none), 0) << none;
    }
}

} // namespace
