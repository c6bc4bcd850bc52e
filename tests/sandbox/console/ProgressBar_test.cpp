#include "console/ProgressBar.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using keepsafe_sandbox::ProgressBar;

TEST(ProgressBar, ShowsTheWorkAndItsShareDone)
{
    EXPECT_EQ(ProgressBar::line("generating", 0, 1000), "generating [" + std::string(40, ' ') + "] 0 %");
    EXPECT_EQ(ProgressBar::line("generating", 255, 1000),
              "generating [" + std::string(10, '#') + std::string(30, ' ') + "] 25 %");
    EXPECT_EQ(ProgressBar::line("generating", 1000, 1000), "generating [" + std::string(40, '#') + "] 100 %");
}

TEST(ProgressBar, IsFullWhenThereIsNothingToDoOrMoreThanAllIsDone)
{
    EXPECT_EQ(ProgressBar::line("x", 0, 0), "x [" + std::string(40, '#') + "] 100 %");
    EXPECT_EQ(ProgressBar::line("x", 3, 2), "x [" + std::string(40, '#') + "] 100 %");
}

} // namespace
