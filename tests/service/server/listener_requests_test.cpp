// What the listener takes for a request, and how it answers.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/server/ListenerTest.h"
#include "service/server/bad_requests.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::ServerLimits;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(Listener, HandsOverTheTargetAsItCame)
{
    EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(requests(), ElementsAre("GET /a%7Cb?c=%20 "));
}

TEST_F(Listener, HandsOverBodiesOfEveryMethodThatHasOne)
{
    for (const char* method : {"POST", "PUT", "PATCH"}) {
        EXPECT_THAT(
            responseTo(std::string(method) + " /x HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc"),
            HasSubstr("0123456789"));
    }
    EXPECT_THAT(responseTo("POST /x HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: "
                           "chunked\r\n\r\n2\r\nde\r\n1\r\nf\r\n0\r\n\r\n"),
                HasSubstr("0123456789"));
    EXPECT_THAT(requests(), ElementsAre("POST /x abc", "PUT /x abc", "PATCH /x abc", "POST /x def"));
}

TEST_F(Listener, HandsOverOddBytesOfTheTarget)
{
    const std::string odd = "/a\xFF%zz%00%";
    EXPECT_THAT(responseTo("GET " + odd + " HTTP/1.1\r\nHost: x\r\n\r\n"), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(requests(), ElementsAre("GET " + odd + ' '));
}

TEST_F(Listener, KeepsAConnectionForManyRequests)
{
    TlsConnection connection = connect();
    for (int i = 0; i < 20; ++i) {
        connection.send(GET);
        EXPECT_THAT(connection.response(), StartsWith("HTTP/1.1 200 OK\r\n"));
    }
    EXPECT_EQ(requests().size(), 20U);
}

TEST_F(Listener, SendsNoBodyWith204AndTheMethodsWith405)
{
    EXPECT_THAT(responseTo("GET /none HTTP/1.1\r\nHost: x\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 204 No Content\r\n"), EndsWith("\r\n\r\n")));
    EXPECT_THAT(responseTo("GET /teapot HTTP/1.1\r\nHost: x\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 405 "), HasSubstr("\r\nAllow: GET, PUT\r\n"), EndsWith("{}")));
}

TEST_F(Listener, SendsTheWholeDocumentWhateverRangeIsAskedFor)
{
    EXPECT_THAT(responseTo("GET /x HTTP/1.1\r\nHost: x\r\nRange: bytes=0-3\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("0123456789")));
}

TEST_F(Listener, AnswersBadRequestsWithAnErrorDocumentAndCloses)
{
    for (const BadRequest& bad : badRequests()) {
        SCOPED_TRACE(bad.name);
        TlsConnection connection = connect();
        connection.send(bad.text + GET);
        const std::string response = connection.response();
        EXPECT_THAT(response, StartsWith("HTTP/1.1 " + std::to_string(bad.status) + ' '));
        EXPECT_THAT(response, HasSubstr("\r\nConnection: close\r\nContent-Type: application/json\r\n"));
        EXPECT_THAT(response,
                    EndsWith(std::string("\r\n\r\n{\"errorCode\":20,\"errorMessage\":") + bad.message + '}'));
        EXPECT_TRUE(connection.isClosed());
    }
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(Listener, AsksForABodyThatTheClientHoldsBack)
{
    TlsConnection client = connect();
    client.send("POST /x HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(client.response(), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send("abc");
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 200 "));
    client.send("POST /x HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 1001\r\n\r\n");
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 413 "));
}

TEST_F(Listener, GetsItsRefusalThroughToAClientThatSendsOn)
{
    TlsConnection client = connect();
    client.send("POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000\r\n\r\n" + std::string(1000000, 'a'));
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 413 "));
}

TEST_F(Listener, AnswersRequestsThatComeTogetherInTheirOrder)
{
    TlsConnection client = connect();
    client.send("GET /teapot HTTP/1.1\r\nHost: x\r\n\r\n" + GET + "garbage\r\n\r\n" + GET);
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 405 "));
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 400 "));
    EXPECT_TRUE(client.isClosed());
    EXPECT_EQ(requests().size(), 2U);
}

TEST_F(Listener, SendsNoBodyToHead)
{
    EXPECT_THAT(responseTo("HEAD /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("\r\nContent-Length: 23\r\n"),
                      EndsWith("\r\n\r\n")));
}

TEST_F(Listener, ClosesWhenTheClientWantsIt)
{
    for (const std::string request :
         {"GET /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", "GET /x HTTP/1.0\r\n\r\n"}) {
        TlsConnection client = connect();
        client.send(request);
        EXPECT_THAT(client.response(), HasSubstr("\r\nConnection: close\r\n"));
        EXPECT_LT(secondsOf([&] { EXPECT_TRUE(client.isClosed()); }), 1);
    }
}

TEST_F(Listener, RefusesBodiesThatAreTooLongTogether)
{
    ServerLimits limits;
    limits.bodyBytes = 100;
    restart(limits);
    const auto post = [](int size) {
        return "POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" +
               std::string(static_cast<std::size_t>(size), 'x');
    };
    EXPECT_THAT(responseTo(post(101)), AllOf(StartsWith("HTTP/1.1 503 Service Unavailable\r\n"),
                                             HasSubstr("\r\nConnection: close\r\n")));
    TlsConnection connection = connect();
    for (int round = 0; round < 3; ++round) {
        connection.send(post(100));
        EXPECT_THAT(connection.response(), StartsWith("HTTP/1.1 200 ")) << "what was answered does not count";
    }
}

} // namespace
} // namespace keepsafe_test
