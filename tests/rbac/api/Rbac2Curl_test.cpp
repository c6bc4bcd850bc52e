#include <keepsafe/rbac/api/Rbac2Curl.h>

#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/status/status_codes.h>

#include "rbac/api/ScriptedService.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::Rbac::encode_uri_part;
using Tessara::Keepsafe::Rbac::throw_on_http_error;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(EncodeUriPart, EncodesEverythingButUnreservedCharacters)
{
    EXPECT_EQ(encode_uri_part("|A b/%|~"), "%7CA%20b%2F%25%7C~");
    EXPECT_EQ(encode_uri_part(""), "");
}

/// The status thrown for an HTTP status where another one was expected, and the line in the log.
class HttpErrorTest : public testing::Test {
protected:
    static int statusOf(int actual, const std::string& body)
    {
        return thrownStatus([&] { throw_on_http_error(200, actual, body, "Tag::operation"); });
    }

    [[nodiscard]] std::string line() const
    {
        const auto lines = log_.lines();
        EXPECT_EQ(lines.size(), 1U);
        EXPECT_EQ(lines.at(0).level, 16);
        EXPECT_EQ(lines.at(0).tag, "Tag::operation");
        return lines.at(0).text;
    }

    CapturedLog log_;
};

TEST_F(HttpErrorTest, TheExpectedStatusIsNoErrorWhateverTheBody)
{
    EXPECT_EQ(statusOf(200, "no JSON"), 0);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(HttpErrorTest, AnEmptyBodyIs114)
{
    EXPECT_EQ(statusOf(500, ""), 114);
    EXPECT_EQ(line(), "Unexpected HTTP status: 500");
}

TEST_F(HttpErrorTest, ABodyThatIsNotJsonIs114)
{
    EXPECT_EQ(statusOf(502, "<html>Bad gateway</html>"), 114);
    EXPECT_EQ(line(), "Unexpected HTTP status: 502");
}

TEST_F(HttpErrorTest, AnErrorDocumentGivesItsCodeAndItsTextsGoToTheLog)
{
    EXPECT_EQ(statusOf(400, R"({"errorCode":7610,"errorMessage":"bad","errorDetails":["a","b"]})"), 7610);
    EXPECT_EQ(line(), "Unexpected HTTP status: 400: bad (a; b)");
}

TEST_F(HttpErrorTest, TheServersTextIsInTheRefusalAndNotInTheTextOfTheStatus)
{
    const auto refusal = thrownBy<ServiceRefusal>([] {
        throw_on_http_error(200, 400, R"({"errorCode":7610,"errorMessage":"bad"})", "Tag::operation");
    });
    EXPECT_EQ(refusal.what(), getECmsg(7610));
    EXPECT_EQ(refusal.httpStatus(), 400);
    EXPECT_EQ(refusal.message(), "bad");
}

TEST_F(HttpErrorTest, DetailsMayBeAbsentOrEmptyOrNoArray)
{
    EXPECT_EQ(statusOf(404, R"({"errorCode":227,"errorMessage":"none"})"), 227);
    EXPECT_EQ(line(), "Unexpected HTTP status: 404: none");
    log_.clear();
    EXPECT_EQ(statusOf(404, R"({"errorCode":227,"errorMessage":"none","errorDetails":[]})"), 227);
    EXPECT_EQ(line(), "Unexpected HTTP status: 404: none");
    for (const char* details : {R"("text")", "null", "{}"}) {
        log_.clear();
        EXPECT_EQ(statusOf(404, R"({"errorCode":227,"errorMessage":"none","errorDetails":)" +
                                    std::string(details) + "}"),
                  227);
        EXPECT_EQ(line(), "Unexpected HTTP status: 404: none");
    }
}

TEST_F(HttpErrorTest, TheTextEndsBeforeADetailThatIsNoString)
{
    EXPECT_EQ(statusOf(400, R"({"errorCode":1,"errorMessage":"bad","errorDetails":["first",2,"third"]})"), 1);
    EXPECT_EQ(line(), "Unexpected HTTP status: 400: bad (first; ");
    log_.clear();
    EXPECT_EQ(statusOf(400, R"({"errorCode":1,"errorMessage":"bad","errorDetails":[["first"],"b"]})"), 1);
    EXPECT_EQ(line(), "Unexpected HTTP status: 400: bad (");
}

TEST_F(HttpErrorTest, ADocumentWithoutCodeOrMessageIs114)
{
    for (const char* body : {R"({"errorCode":"7610","errorMessage":"bad"})", R"({"errorMessage":"bad"})",
                             R"({"errorCode":7610})", R"({"errorCode":7610,"errorMessage":null})", "[]"}) {
        SCOPED_TRACE(body);
        log_.clear();
        EXPECT_EQ(statusOf(409, body), 114);
        EXPECT_EQ(line(), "Unexpected HTTP status: 409");
    }
}

TEST_F(HttpErrorTest, AnotherSuccessIsAnErrorToo)
{
    EXPECT_EQ(statusOf(204, ""), 114);
    EXPECT_EQ(line(), "Unexpected HTTP status: 204");
}

TEST_F(HttpErrorTest, OtherMembersDoNotCountAndAMessageMayBeEmpty)
{
    EXPECT_EQ(statusOf(400, R"({"x":{},"errorCode":227,"errorMessage":"","errorDetails":["a"],"y":1})"), 227);
    EXPECT_EQ(line(), "Unexpected HTTP status: 400:  (a)");
}

TEST_F(HttpErrorTest, ANegativeCodeIsACode)
{
    EXPECT_EQ(statusOf(400, R"({"errorCode":-2147483648,"errorMessage":"m"})"), -2147483647 - 1);
    EXPECT_EQ(line(), "Unexpected HTTP status: 400: m");
}

TEST_F(HttpErrorTest, ACodeOfSuccessOrThatFitsNoIntIs114)
{
    for (const char* code : {"0", "-0", "4294967296", "4294967297", "2147483648", "-2147483649"}) {
        SCOPED_TRACE(code);
        log_.clear();
        const std::string body = R"({"errorCode":)" + std::string(code) + R"(,"errorMessage":"fine"})";
        const auto refusal =
            thrownBy<ServiceRefusal>([&] { throw_on_http_error(200, 500, body, "Tag::operation"); });
        EXPECT_EQ(refusal.status(), 114);
        EXPECT_EQ(refusal.reason(), "HTTP status 500");
        EXPECT_EQ(line(), "Unexpected HTTP status: 500");
    }
}

TEST_F(HttpErrorTest, AnErrorDocumentIsTheWholeBody)
{
    const std::string document = R"({"errorCode":1,"errorMessage":"m"})";
    EXPECT_EQ(statusOf(500, document + " x"), 114);
    log_.clear();
    EXPECT_EQ(statusOf(500, document + '\0'), 114);
    log_.clear();
    EXPECT_EQ(statusOf(500, R"({"errorCode":1,"errorCode":2,"errorMessage":"m"})"), 2)
        << "the last one counts";
}

} // namespace
} // namespace keepsafe_test
