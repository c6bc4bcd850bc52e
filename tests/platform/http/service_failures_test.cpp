#include <keepsafe/platform/http/service_failures.h>

#include <type_traits>

#include <gtest/gtest.h>

#include <keepsafe/platform/status/status_codes.h>

namespace {

using Tessara::Keepsafe::ExplainedFailure;
using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::TransferFailure;

static_assert(std::is_nothrow_copy_constructible_v<ServiceRefusal>);
static_assert(std::is_nothrow_copy_constructible_v<TransferFailure>);

std::string reasonOf(const std::string& body) { return ServiceRefusal(114, 400, body).reason(); }

TEST(AServiceRefusal, KeepsWhatTheErrorDocumentSays)
{
    const ServiceRefusal refusal(20, 404, R"({"errorCode":5931,"errorMessage":"there is no role 99"})");
    EXPECT_EQ(refusal.status(), 20);
    EXPECT_EQ(refusal.what(), getECmsg(20));
    EXPECT_EQ(refusal.httpStatus(), 404);
    EXPECT_EQ(refusal.errorCode(), 5931);
    EXPECT_EQ(refusal.message(), "there is no role 99");
    EXPECT_EQ(refusal.reason(), "HTTP status 404: there is no role 99");
}

TEST(AServiceRefusal, HasNoCodeAndNoMessageWithoutAnErrorDocument)
{
    for (const char* body : {"", "<html>", "[]", R"({"errorCode":0,"errorMessage":"fine"})"}) {
        const ServiceRefusal refusal(114, 502, body);
        EXPECT_EQ(refusal.errorCode(), 0) << body;
        EXPECT_EQ(refusal.message(), "") << body;
        EXPECT_EQ(refusal.reason(), "HTTP status 502") << body;
    }
}

TEST(AServiceRefusal, GivesTheDetailsThatAreTexts)
{
    EXPECT_EQ(reasonOf(R"({"errorCode":1,"errorMessage":"bad","errorDetails":["a",2,"b"]})"),
              "HTTP status 400: bad (a; b)");
    EXPECT_EQ(reasonOf(R"({"errorCode":1,"errorMessage":"bad","errorDetails":"a"})"), "HTTP status 400: bad");
}

TEST(AServiceRefusal, LeavesOutADetailThatOnlyRepeatsTheMessage)
{
    EXPECT_EQ(reasonOf(R"({"errorCode":1,"errorMessage":"bad","errorDetails":["bad"]})"),
              "HTTP status 400: bad");
}

TEST(AServiceRefusal, IsToldFromAFailedTransferAcrossTheLibraryBoundary)
{
    try {
        throw TransferFailure(7, "GET failed");
    } catch (const ServiceRefusal&) {
        FAIL() << "nothing was refused";
    } catch (const EC_exception& failure) {
        EXPECT_EQ(failure.status(), 7);
        EXPECT_EQ(dynamic_cast<const TransferFailure&>(failure).reason(), "GET failed");
    }
}

} // namespace
