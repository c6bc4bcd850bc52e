#include "tell.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CapturedLog.h"
#include "support/CoarseClock.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::diagnostics::tell;
using Tessara::Keepsafe::diagnostics::TellAfterwards;
using Tessara::Keepsafe::Process::RepeatedLines;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char TAG[] = "tag";

class TellTest : public testing::Test {
protected:
    [[nodiscard]] std::vector<std::string> texts() const
    {
        std::vector<std::string> found;
        for (const LogLine& line : log_.lines()) {
            found.push_back(line.text);
        }
        return found;
    }

    const CapturedLog log_;
};

TEST_F(TellTest, WritesAtOnceWhenNothingIsHeld)
{
    tell(16, TAG, "100%s");
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{16, TAG, "100%s"}));
}

TEST_F(TellTest, WritesTheLinesInTheirOrderAtTheEndOfTheObject)
{
    {
        const TellAfterwards afterwards;
        tell(16, TAG, "first");
        tell(8, "another", "second");
        EXPECT_THAT(log_.lines(), IsEmpty());
    }
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{16, TAG, "first"}, LogLine{8, "another", "second"}));
    tell(16, TAG, "third");
    EXPECT_THAT(texts(), ElementsAre("first", "second", "third"));
}

TEST_F(TellTest, LeavesTheLinesOfAnInnerObjectToTheOuterOne)
{
    {
        const TellAfterwards outer;
        tell(16, TAG, "before");
        {
            const TellAfterwards inner;
            tell(16, TAG, "inside");
        }
        tell(16, TAG, "after");
        EXPECT_THAT(texts(), IsEmpty());
    }
    EXPECT_THAT(texts(), ElementsAre("before", "inside", "after"));
}

TEST_F(TellTest, WaitsForTheLastObjectInWhateverOrderTheyEnd)
{
    auto first = std::make_unique<TellAfterwards>();
    auto second = std::make_unique<TellAfterwards>();
    auto third = std::make_unique<TellAfterwards>();
    tell(16, TAG, "of three");
    second.reset();
    tell(16, TAG, "of two");
    first.reset();
    tell(16, TAG, "of one");
    EXPECT_THAT(texts(), IsEmpty());
    third.reset();
    EXPECT_THAT(texts(), ElementsAre("of three", "of two", "of one"));
}

TEST_F(TellTest, TellsHowManyEqualLinesWereHeldBack)
{
    RepeatedLines repeated;
    const auto tellOnce = [&repeated] {
        const TellAfterwards afterwards(&repeated);
        tell(16, TAG, "again");
    };
    setCoarseMilliseconds(5000);
    tellOnce();
    tellOnce();
    setCoarseMilliseconds(6000);
    tellOnce();
    EXPECT_THAT(texts(), ElementsAre("again", "again (1 more like this)"));
}

TEST_F(TellTest, HoldsNothingBackThatIsWrittenPlainly)
{
    RepeatedLines repeated;
    {
        const TellAfterwards afterwards(&repeated);
        TellAfterwards::write({16, TAG, "again", nullptr});
        TellAfterwards::write({16, TAG, "again", nullptr});
    }
    EXPECT_THAT(texts(), ElementsAre("again", "again"));
}

std::vector<std::string> printed;

TEST_F(TellTest, PrintsALineByItsOwnFunctionInsteadOfLoggingIt)
{
    {
        const TellAfterwards afterwards;
        TellAfterwards::tell(
            {0, nullptr, "a text", [](const std::string& text) { printed.push_back(text); }});
        EXPECT_THAT(printed, IsEmpty());
    }
    EXPECT_THAT(printed, ElementsAre("a text"));
    EXPECT_THAT(texts(), IsEmpty());
}

} // namespace
} // namespace keepsafe_test
