#include <keepsafe/platform/status/status_codes.h>

#include <iterator>
#include <limits>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

namespace Status = Tessara::Keepsafe::Status;

constexpr int CODES[] = {0,    10,   12,   13,   20,   36,   114,  117,  220,  7610,
                         8001, 8002, 8007, 8022, 8023, 8024, 8025, 8030, 9103, 2007031};

std::string textOfUnknown(int code) { return "status " + std::to_string(code) + " has no message text"; }

TEST(StatusCodes, NamesStandForTheProductsNumbers)
{
    EXPECT_EQ(Status::SUCCESS, 0);
    EXPECT_EQ(Status::BASE64_FAILED, 10);
    EXPECT_EQ(Status::CACHE_UNUSABLE, 12);
    EXPECT_EQ(Status::FILE_UNREADABLE, 13);
    EXPECT_EQ(Status::INVALID_ARGUMENT, 20);
    EXPECT_EQ(Status::OUT_OF_MEMORY, 36);
    EXPECT_EQ(Status::CONVERSION_FAILED, 114);
    EXPECT_EQ(Status::NO_AUTHORIZATION_TOKEN, 117);
    EXPECT_EQ(Status::DATABASE_UNAVAILABLE, 220);
    EXPECT_EQ(Status::MALFORMED_DOCUMENT, 7610);
    EXPECT_EQ(Status::TOKEN_EXPIRED, 8001);
    EXPECT_EQ(Status::TOKEN_INVALID, 8002);
    EXPECT_EQ(Status::PUBLIC_KEY_UNUSABLE, 8007);
    EXPECT_EQ(Status::REGISTRATION_ROLLED_BACK, 8022);
    EXPECT_EQ(Status::UNREGISTRATION_ROLLED_BACK, 8023);
    EXPECT_EQ(Status::COMMIT_FAILED, 8024);
    EXPECT_EQ(Status::ROLLBACK_FAILED, 8025);
    EXPECT_EQ(Status::STATE_UPDATE_FAILED, 8030);
    EXPECT_EQ(Status::UNEXPECTED_RESPONSE, 9103);
    EXPECT_EQ(Status::NO_MORE_ROWS, 2007031);
}

TEST(StatusTexts, EachNamedCodeHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (const int code : CODES) {
        EXPECT_NE(getECmsg(code), textOfUnknown(code));
        EXPECT_FALSE(getECmsg(code).empty()) << code;
        EXPECT_TRUE(texts.insert(getECmsg(code)).second) << "two codes share: " << getECmsg(code);
    }
}

TEST(StatusTexts, TheNeighboursOfTheNamedCodesAreUnknown)
{
    const std::set<int> codes(std::begin(CODES), std::end(CODES));
    for (const int code : codes) {
        for (const int neighbour : {code - 1, code + 1}) {
            if (codes.count(neighbour) == 0 && (neighbour < 1 || neighbour > 99)) {
                EXPECT_EQ(getECmsg(neighbour), textOfUnknown(neighbour));
            }
        }
    }
}

TEST(StatusTexts, EachTransferStatusHasAText)
{
    EXPECT_EQ(getECmsg(7), "the server cannot be reached");
    EXPECT_EQ(getECmsg(1), "a request to a server failed with transfer status 1");
    EXPECT_EQ(getECmsg(99), "a request to a server failed with transfer status 99");
    EXPECT_EQ(getECmsg(12), "an access cache, key file or lock file cannot be used") << "the product's own";
    for (int status = 1; status <= 99; ++status) {
        EXPECT_EQ(getECmsg(status).find("has no message text"), std::string::npos) << status;
    }
    EXPECT_EQ(getECmsg(100), textOfUnknown(100));
}

TEST(StatusTexts, AnUnknownCodeGivesATextWithItsNumber)
{
    EXPECT_EQ(getECmsg(-1), "status -1 has no message text");
    EXPECT_EQ(getECmsg(std::numeric_limits<int>::max()), "status 2147483647 has no message text");
    EXPECT_EQ(getECmsg(std::numeric_limits<int>::min()), "status -2147483648 has no message text");
}

} // namespace
