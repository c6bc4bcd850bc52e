#include <keepsafe/platform/status/ExplainedFailure.h>

#include <type_traits>

#include <gtest/gtest.h>

#include <keepsafe/platform/status/status_codes.h>

namespace {

using Tessara::Keepsafe::ExplainedFailure;

static_assert(std::is_nothrow_copy_constructible_v<ExplainedFailure>);

TEST(AnExplainedFailure, CarriesItsReasonBesideTheTextOfItsStatus)
{
    const ExplainedFailure failure(13, "the file is empty");
    EXPECT_EQ(failure.status(), 13);
    EXPECT_EQ(failure.what(), getECmsg(13));
    EXPECT_EQ(failure.reason(), "the file is empty");
}

TEST(AnExplainedFailure, IsFoundBehindAStatusExceptionAcrossTheLibraryBoundary)
{
    try {
        throw ExplainedFailure(12, "why");
    } catch (const EC_exception& failure) {
        const auto* const explained = dynamic_cast<const ExplainedFailure*>(&failure);
        ASSERT_NE(explained, nullptr);
        EXPECT_EQ(explained->reason(), "why");
    }
}

TEST(AnExplainedFailure, KeepsItsReasonWhenCopiedAndAssigned)
{
    ExplainedFailure target(12, "before");
    const ExplainedFailure source(13, "after");
    target = source;
    EXPECT_EQ(target.status(), 13);
    EXPECT_EQ(target.reason(), "after");
}

} // namespace
