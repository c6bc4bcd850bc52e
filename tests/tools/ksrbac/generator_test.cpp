#include <string>

#include <gtest/gtest.h>

#include "commands/commands.h"
#include "generator/bash_completion.h"
#include "generator/manual_sections.h"

namespace {

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

/// What may follow "ksrbac", with spaces between.
std::string commandsAndGroups()
{
    std::string names;
    for (const ksrbac::CommandRow& row : ksrbac::commandTable()) {
        if (!contains(row.name, " ")) {
            names += (names.empty() ? "" : " ") + std::string(row.name);
        }
    }
    return names;
}

TEST(BashCompletion, KnowsCommandsOptionsAndValues)
{
    const std::string script = ksrbac::bashCompletion();
    EXPECT_TRUE(contains(script, "['ksrbac']='" + commandsAndGroups() + "'\n")) << script;
    EXPECT_TRUE(contains(script, "['ksrbac cache']='info dump diff verify'\n"));
    EXPECT_TRUE(contains(script, "['ksrbac cache verify']='-h --help --max-faults --version --root --json "
                                 "--log-level'\n"));
    EXPECT_TRUE(contains(script, "['ksrbac check --cache']='ID_OR_DIR'\n"));
    EXPECT_TRUE(contains(script, "['ksrbac check --root']='DIR'\n"));
    EXPECT_TRUE(contains(script, "['ksrbac cache info']='ID_OR_DIR'\n"));
    EXPECT_TRUE(contains(script, "['ksrbac token']='verify show roles'\n"));
    EXPECT_TRUE(contains(script, "['ksrbac token verify']='FILE|-'\n"));
    EXPECT_TRUE(contains(script, "['ksrbac check --session-token-file']='FILE|-'\n"));
}

TEST(ManualSections, HoldTheHelpOfEveryCommand)
{
    const std::string sections = ksrbac::manualSections();
    for (const ksrbac::CommandRow& row : ksrbac::commandTable()) {
        EXPECT_TRUE(contains(sections, std::string(".SS \"ksrbac ") + row.name + "\"\n")) << row.name;
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
