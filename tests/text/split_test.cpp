#include "split.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Text::split;
using testing::ElementsAre;

TEST(Splitting, GivesOnePartMoreThanThereAreSeparators)
{
    EXPECT_THAT(split("a,b c,d", ','), ElementsAre("a", "b c", "d"));
    EXPECT_THAT(split(",a,,", ','), ElementsAre("", "a", "", ""));
    EXPECT_THAT(split("a", ','), ElementsAre("a"));
    EXPECT_THAT(split("", ','), ElementsAre(""));
}

} // namespace
