#include <keepsafe/platform/http/extract_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

class ExtractError : public testing::Test {
protected:
    int extract(const std::string& body) { return extractErrorFromJSON(body, code, message); }

    void expectUnreadable(const std::string& body)
    {
        EXPECT_EQ(extract(body), 7610) << body;
        EXPECT_EQ(code, -1) << body;
        EXPECT_EQ(message, "before") << body;
    }

    int code = -1;
    std::string message = "before";
};

TEST_F(ExtractError, GivesCodeAndMessageWhateverElseTheDocumentSays)
{
    EXPECT_EQ(extract(R"({"errorCode":5930,"errorMessage":"refused","errorDetails":["a"],"x":{}})"), 0);
    EXPECT_EQ(code, 5930);
    EXPECT_EQ(message, "refused");
}

TEST_F(ExtractError, AcceptsNegativeCodesAndEmptyMessages)
{
    EXPECT_EQ(extract(R"({"errorCode":-2147483648,"errorMessage":""})"), 0);
    EXPECT_EQ(code, -2147483647 - 1);
    EXPECT_EQ(message, "");
}

TEST_F(ExtractError, ABodyThatIsNoJsonIsUnreadable)
{
    for (const char* body : {"", "<html>Bad gateway</html>", R"({"errorCode":1,"errorMessage":"cut)",
                             R"({"errorCode":1,"errorMessage":"more"} {})"}) {
        expectUnreadable(body);
    }
    expectUnreadable(std::string(R"({"errorCode":1,"errorMessage":"more"})") + '\0');
}

TEST_F(ExtractError, ADocumentOfAnotherFormIsUnreadable)
{
    for (const char* body :
         {"[]", "{}", R"({"errorCode":1})", R"({"errorMessage":"m"})",
          R"({"errorCode":"1","errorMessage":"m"})", R"({"errorCode":1.0,"errorMessage":"m"})",
          R"({"errorCode":null,"errorMessage":"m"})", R"({"errorCode":1,"errorMessage":null})",
          R"([{"errorCode":1,"errorMessage":"m"}])", R"({"error":{"errorCode":1,"errorMessage":"m"}})"}) {
        expectUnreadable(body);
    }
}

TEST_F(ExtractError, ACodeThatSaysSuccessOrFitsNoIntIsUnreadable)
{
    for (const char* number :
         {"0", "-0", "4294967296", "2147483648", "-2147483649", "18446744073709551616"}) {
        expectUnreadable(std::string(R"({"errorCode":)") + number + R"(,"errorMessage":"m"})");
    }
}

} // namespace
