#include "odbc_handles.h"

#include <gtest/gtest.h>

namespace {

TEST(Diagnostic, IsOfTheClassThatItsStateBeginsWith)
{
    EXPECT_EQ((Tessara::Dal::Diagnostic{"08S01", 0, ""}).stateClass(), "08");
}

} // namespace
