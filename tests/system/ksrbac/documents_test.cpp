#include <string>

#include <gtest/gtest.h>

#include "support/TempDir.h"

// The manual page, which the build makes from the tool's option tree.

namespace keepsafe_test {
namespace {

TEST(ManualPage, HasTheSectionsOfAManualPage)
{
    const std::string page = readFile(KSRBAC_MANUAL);
    for (const char* part :
         {".TH KSRBAC \"1\"",
          ".SH NAME\nksrbac \\- ask for access decisions, and manage roles, objects and grants",
          ".SH SYNOPSIS", ".SH DESCRIPTION", ".SH OPTIONS", "\\fB\\-\\-root\\fR DIR", ".SH COMMANDS",
          ".SS \"ksrbac cache verify\"", ".SS \"ksrbac token show\"", ".SS \"ksrbac access add\"",
          ".SH FILES"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
}

} // namespace
} // namespace keepsafe_test
