// What is a request and what is refused, byte for byte. Every text is read whole, and cut in two at every
// place.

#include "server/RequestReader.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/server/bad_requests.h"

namespace {

using keepsafe_service::RequestReader;
using State = RequestReader::State;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::size_t MOST_BODY = keepsafe_test::BAD_REQUESTS_MOST_BODY;

/// A budget of bodies that is never used up.
keepsafe_service::BodyBudget& enough()
{
    static keepsafe_service::BodyBudget budget(std::size_t(1) << 30U);
    return budget;
}

struct Reading {
    std::vector<std::string> requests; ///< method, target, media type and body
    int refusal = 0;                   ///< HTTP status
    std::string document;
    State state = State::Idle;
};

/// Reads the pieces, one after the other, and goes on behind whole requests.
Reading readPieces(const std::vector<std::string>& pieces)
{
    RequestReader reader([](const std::string& /*target*/) { return MOST_BODY; }, enough());
    Reading reading;
    for (const std::string& piece : pieces) {
        reading.state = reader.take(piece);
        while (reading.state == State::Whole) {
            const keepsafe_service::ServiceRequest request = reader.takeRequest();
            reading.requests.push_back(request.method + ' ' + request.target + ' ' + request.contentType +
                                       ' ' + request.body);
            reading.state = reader.next();
        }
        if (reading.state == State::Refused) {
            reading.refusal = reader.refusal().status;
            reading.document = reader.refusal().body;
        }
    }
    return reading;
}

Reading read(const std::string& text)
{
    Reading whole = readPieces({text});
    for (std::size_t cut = 1; cut < text.size() && text.size() < 3000; ++cut) {
        const Reading inTwo = readPieces({text.substr(0, cut), text.substr(cut)});
        EXPECT_EQ(inTwo.requests, whole.requests) << "cut at " << cut;
        EXPECT_EQ(inTwo.document, whole.document) << "cut at " << cut;
        EXPECT_EQ(inTwo.state, whole.state) << "cut at " << cut;
    }
    return whole;
}

std::string post(const std::string& headers, const std::string& body)
{
    return "POST /x HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n" + body;
}
std::string chunked(const std::string& body) { return post("Transfer-Encoding: chunked\r\n", body); }

TEST(RequestReader, TakesARequestWithoutABody)
{
    const Reading reading = read("GET /a%7Cb?c=%20 HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_THAT(reading.requests, ElementsAre("GET /a%7Cb?c=%20  "));
    EXPECT_EQ(reading.state, State::Idle);
}

TEST(RequestReader, TakesABodyOfTheLengthThatIsAnnounced)
{
    EXPECT_THAT(read(post("Content-Type: a/b\r\nContent-Length: 3\r\n", "abc")).requests,
                ElementsAre("POST /x a/b abc"));
    EXPECT_THAT(read(post("Content-Length: 0\r\n", "")).requests, ElementsAre("POST /x  "));
    EXPECT_THAT(read(post("Content-Length: 1000\r\n", std::string(1000, 'a'))).requests,
                ElementsAre("POST /x  " + std::string(1000, 'a')));
}

TEST(RequestReader, TakesABodyInChunks)
{
    EXPECT_THAT(read(chunked("2\r\nde\r\n1\r\nf\r\n0\r\n\r\n")).requests, ElementsAre("POST /x  def"));
    EXPECT_THAT(read(chunked("0\r\n\r\n")).requests, ElementsAre("POST /x  "));
    EXPECT_THAT(read(chunked("1;name=\"value\"\r\na\r\n0\r\n\r\n")).requests, ElementsAre("POST /x  a"));
    EXPECT_THAT(read(chunked("3E8\r\n" + std::string(1000, 'a') + "\r\n0\r\n\r\n")).requests,
                ElementsAre("POST /x  " + std::string(1000, 'a')));
}

TEST(RequestReader, IgnoresTrailers)
{
    EXPECT_THAT(read(chunked("1\r\na\r\n0\r\nContent-Type: a/b\r\nHost: y\r\n\r\n")).requests,
                ElementsAre("POST /x  a"));
}

TEST(RequestReader, TakesRequestsThatComeTogetherOneByOne)
{
    const std::string get = "GET /g HTTP/1.1\r\nHost: x\r\n\r\n";
    EXPECT_THAT(
        read(post("Content-Length: 2\r\n", "ab") + get + chunked("1\r\nc\r\n0\r\n\r\n") + get).requests,
        ElementsAre("POST /x  ab", "GET /g  ", "POST /x  c", "GET /g  "));
}

TEST(RequestReader, TakesABlankHeaderAndBytesAboveAscii)
{
    EXPECT_THAT(read("GET /\xFF%zz%00% HTTP/1.1\r\nHost:x\r\nA:\r\nB: \xC3\xA4\t \r\n\r\n").requests,
                ElementsAre("GET /\xFF%zz%00%  "));
}

TEST(RequestReader, KeepsTheConnectionUnlessTheClientDoesNotWantIt)
{
    const auto keeps = [](const std::string& text) {
        RequestReader reader([](const std::string& /*target*/) { return MOST_BODY; }, enough());
        EXPECT_EQ(reader.take(text), State::Whole);
        return reader.keepsConnection();
    };
    EXPECT_TRUE(keeps("GET / HTTP/1.1\r\nHost: x\r\n\r\n"));
    EXPECT_FALSE(keeps("GET / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
    EXPECT_FALSE(keeps("GET / HTTP/1.0\r\n\r\n"));
    EXPECT_FALSE(keeps("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"));
}

TEST(RequestReader, SaysOnceThatTheClientWaitsToBeAskedForItsBody)
{
    RequestReader reader([](const std::string& /*target*/) { return MOST_BODY; }, enough());
    EXPECT_EQ(reader.take(post("Expect: 100-Continue\r\nContent-Length: 1\r\n", "")), State::Body);
    EXPECT_TRUE(reader.takeExpectation());
    EXPECT_FALSE(reader.takeExpectation());
    EXPECT_EQ(reader.take("a"), State::Whole);
}

TEST(RequestReader, ReadsNoBodyThatIsTooLong)
{
    RequestReader reader([](const std::string& target) { return target == "/large" ? 10U : 1U; }, enough());
    EXPECT_EQ(reader.take("PUT /large HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\n"), State::Body);
    RequestReader small([](const std::string& target) { return target == "/large" ? 10U : 1U; }, enough());
    EXPECT_EQ(small.take("PUT /small HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\n"), State::Refused);
    EXPECT_EQ(small.refusal().status, 413);
}

TEST(RequestReader, SharesABudgetOfBodiesWithTheOthersUntilItsRequestIsAnswered)
{
    keepsafe_service::BodyBudget budget(10);
    const auto most = [](const std::string& /*target*/) { return MOST_BODY; };
    const auto six = post("Content-Length: 6\r\n", "123456");
    RequestReader first(most, budget);
    EXPECT_EQ(first.take(six), State::Whole);
    {
        RequestReader second(most, budget);
        EXPECT_EQ(second.take(post("Content-Length: 6\r\n", "1234")), State::Body);
        EXPECT_EQ(second.take("5"), State::Refused);
        EXPECT_EQ(second.refusal().status, 503);
        EXPECT_THAT(second.refusal().body, HasSubstr("too long together"));
        RequestReader third(most, budget);
        EXPECT_EQ(third.take(post("Content-Length: 4\r\n", "1234")), State::Whole) << "the second gave back";
    }
    EXPECT_EQ(first.next(), State::Idle) << "the first is answered";
    RequestReader fourth(most, budget);
    EXPECT_EQ(fourth.take(post("Content-Length: 10\r\n", "1234567890")), State::Whole);
}

const std::string HIDDEN = "GET /hidden HTTP/1.1\r\nHost: x\r\n\r\n";

TEST(RequestReader, RefusesBadRequestsAndReadsNothingBehindThem)
{
    for (const keepsafe_test::BadRequest& bad : keepsafe_test::badRequests()) {
        SCOPED_TRACE(bad.name);
        const Reading reading = read(bad.text + HIDDEN);
        EXPECT_THAT(reading.requests, IsEmpty());
        EXPECT_EQ(reading.refusal, bad.status);
        EXPECT_THAT(reading.document, HasSubstr(bad.message));
    }
}

TEST(RequestReader, LimitsTheExtensionsOfAllChunksTogether)
{
    std::string chunks;
    for (int i = 0; i < 500; ++i) {
        chunks += "1;name=value\r\na\r\n";
    }
    EXPECT_EQ(read(chunked(chunks + "0\r\n\r\n")).refusal, 400);
}

TEST(RequestReader, RefusesWhatStandsBehindABody)
{
    const Reading reading = read(post("Content-Length: 1\r\n", "a") + "garbage\r\n\r\n" + HIDDEN);
    EXPECT_THAT(reading.requests, ElementsAre("POST /x  a"));
    EXPECT_EQ(reading.refusal, 400);
}

} // namespace
