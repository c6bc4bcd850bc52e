#include <string>

#include <gtest/gtest.h>

#include "cli/text_layout.h"

namespace {

using ksrbac::Description;
using ksrbac::inColumns;
using ksrbac::wrapped;
using ksrbac::wrappedParagraphs;

TEST(TextLayout, WrapsWordsAtTheWidth)
{
    EXPECT_EQ(wrapped("one two\nthree  four", 2, 11), "  one two\n  three\n  four\n");
    EXPECT_EQ(wrapped("one two three four", 2, 12), "  one two\n  three four\n");
}

TEST(TextLayout, AWordThatIsTooLongHasALineOfItsOwn)
{
    EXPECT_EQ(wrapped("a |KEEPSAFE|ASSETS| b", 0, 8), "a\n|KEEPSAFE|ASSETS|\nb\n");
}

TEST(TextLayout, NothingIsNoLine) { EXPECT_EQ(wrapped(" \n ", 2, 10), ""); }

TEST(TextLayout, ParagraphsAreWrappedOneByOneAndTablesKept)
{
    EXPECT_EQ(wrappedParagraphs("one\ntwo\n\n  a   b\n  c   d\n\nthree", 1, 80),
              " one two\n\n   a   b\n   c   d\n\n three\n");
}

TEST(TextLayout, AColumnForTheTextBeginsOnTheLineOfTheNameIfThatIsShort)
{
    EXPECT_EQ(inColumns("--json", "one two three", 12, 20), "  --json    one two\n            three\n");
    EXPECT_EQ(inColumns("--log-level", "one", 12, 20), "  --log-level\n            one\n");
    EXPECT_EQ(inColumns("--x", "", 12, 20), "  --x\n");
}

TEST(Description, IsTakenApart)
{
    const Description description(
        "Do it.\n\nWith care.\n\nExit status: 0 done, or\nnot, 1 not all, 3 status\n8022 "
        "gone, 8024, 8025 and 8030 left, or\nothers.");
    EXPECT_EQ(description.summary, "Do it.");
    EXPECT_EQ(description.body, "With care.");
    ASSERT_EQ(description.exitStatuses.size(), 3U);
    EXPECT_EQ(description.exitStatuses[0].first, "0");
    EXPECT_EQ(description.exitStatuses[0].second, "done, or not");
    EXPECT_EQ(description.exitStatuses[1].second, "not all");
    EXPECT_EQ(description.exitStatuses[2].first, "3");
    EXPECT_EQ(description.exitStatuses[2].second, "status 8022 gone, 8024, 8025 and 8030 left, or others");
}

TEST(Description, MayHaveOneLineAlone)
{
    const Description description("Manage roles.");
    EXPECT_EQ(description.summary, "Manage roles.");
    EXPECT_EQ(description.body, "");
    EXPECT_TRUE(description.exitStatuses.empty());
}

} // namespace
