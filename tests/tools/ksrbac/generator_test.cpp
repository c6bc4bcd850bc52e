#include <string>

#include <gtest/gtest.h>

#include "commands/commands.h"
#include "generator/manual_sections.h"

namespace {

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST(ManualSections, HoldTheHelpOfEveryCommand)
{
    const std::string sections = ksrbac::manualSections();
    for (const ksrbac::CommandRow& row : ksrbac::commandTable()) {
        EXPECT_EQ(contains(sections, std::string(".SS \"ksrbac ") + row.name + "\"\n"), !row.isHidden)
            << row.name;
    }
    EXPECT_TRUE(contains(sections, "\\-\\-objects\\-from FILE|\\-"));
}

TEST(ManualSections, LeaveNoLineThatTroffWouldTakeForARequest)
{
    const std::string sections = ksrbac::manualSections();
    EXPECT_FALSE(contains(sections, "\n'"));
    EXPECT_FALSE(contains(sections, "\n.."));
}

} // namespace
