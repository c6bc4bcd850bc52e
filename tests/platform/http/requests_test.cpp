/// What a server receives, byte for byte, and what a client returns.

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HttpTest.h"

namespace keepsafe_test {
namespace {

using testing::ElementsAre;
using testing::Pair;

class Requests : public HttpTest {
protected:
    [[nodiscard]] std::string hostAndPort() const { return "127.0.0.1:" + std::to_string(server.port()); }
    [[nodiscard]] RecordedRequest lastRequest() const { return server.requests().back(); }

    HttpsServer server{serverSettings()};
    KSClientCURL client = clientOf(server);
};

TEST_F(Requests, WithoutABodyHaveTwoHeaders)
{
    ASSERT_EQ(client.Get("keepsafe/access-control/roles"), CURLE_OK);
    const RecordedRequest request = lastRequest();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/keepsafe/access-control/roles");
    EXPECT_EQ(request.version, "HTTP/1.1");
    EXPECT_THAT(request.headers,
                ElementsAre(Pair("Host", hostAndPort()), Pair("Accept", "application/json")));
    EXPECT_EQ(request.body, "");
    EXPECT_EQ(request.clientName, "host");
}

TEST_F(Requests, ToDeleteHaveNoBody)
{
    ASSERT_EQ(client.Delete("keepsafe/access-control/roles/7"), CURLE_OK);
    const RecordedRequest request = lastRequest();
    EXPECT_EQ(request.method, "DELETE");
    EXPECT_EQ(request.target, "/keepsafe/access-control/roles/7");
    EXPECT_THAT(request.headers,
                ElementsAre(Pair("Host", hostAndPort()), Pair("Accept", "application/json")));
    EXPECT_EQ(request.body, "");
}

struct BodyRequest {
    const char* method;
    int (KSClientCURL::*send)(const std::string& path, const std::string& body);

    friend std::ostream& operator<<(std::ostream& stream, const BodyRequest& request)
    {
        return stream << request.method;
    }
};

class RequestsWithABody : public Requests, public testing::WithParamInterface<BodyRequest> {};

TEST_P(RequestsWithABody, NameItsTypeAndLength)
{
    const std::string body = "{\"name\":\"r\xC3\xB4le\"}";
    ASSERT_EQ((client.*GetParam().send)("keepsafe/access-control/roles", body), CURLE_OK);
    const RecordedRequest request = lastRequest();
    EXPECT_EQ(request.method, GetParam().method);
    EXPECT_EQ(request.target, "/keepsafe/access-control/roles");
    EXPECT_THAT(request.headers, ElementsAre(Pair("Host", hostAndPort()), Pair("Accept", "application/json"),
                                             Pair("Content-Type", "application/json"),
                                             Pair("Content-Length", std::to_string(body.size()))));
    EXPECT_EQ(request.body, body);
}

TEST_P(RequestsWithABody, MayHaveAnEmptyOne)
{
    ASSERT_EQ((client.*GetParam().send)("path", ""), CURLE_OK);
    EXPECT_EQ(lastRequest().method, GetParam().method);
    EXPECT_EQ(lastRequest().header("Content-Length"), "0");
    EXPECT_EQ(lastRequest().body, "");
}

TEST_P(RequestsWithABody, SendEveryByteOfIt)
{
    std::string body(3'000'000, '\0');
    for (std::size_t at = 0; at < body.size(); ++at) {
        body[at] = static_cast<char>(at * 7 / 3);
    }
    ASSERT_EQ((client.*GetParam().send)("path", body), CURLE_OK);
    EXPECT_EQ(lastRequest().header("Expect"), "");
    EXPECT_TRUE(lastRequest().body == body);
}

INSTANTIATE_TEST_SUITE_P(AllMethods, RequestsWithABody,
                         testing::Values(BodyRequest{"PUT", &KSClientCURL::Put},
                                         BodyRequest{"POST", &KSClientCURL::Post},
                                         BodyRequest{"PATCH", &KSClientCURL::Patch}),
                         [](const auto& instance) { return std::string(instance.param.method); });

TEST_F(Requests, NameTheVersionThatWasAskedFor)
{
    client.setApiVersion(MAX_VERSION);
    ASSERT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_THAT(
        lastRequest().headers,
        ElementsAre(Pair("Host", hostAndPort()), Pair("Accept", "application/vnd.keepsafe+json;version=14")));
    ASSERT_EQ(client.Post("path", "{}"), CURLE_OK);
    EXPECT_THAT(lastRequest().headers,
                ElementsAre(Pair("Host", hostAndPort()),
                            Pair("Accept", "application/vnd.keepsafe+json;version=14"),
                            Pair("Content-Type", "application/vnd.keepsafe+json;version=14"),
                            Pair("Content-Length", "2")));
}

TEST_F(Requests, DoNotInheritAnythingFromTheOneBeforeOnTheSameConnection)
{
    client.setApiVersion(3);
    ASSERT_EQ(client.Put("first", "{\"a\":1}"), CURLE_OK);
    ASSERT_EQ(clientOf(server).Get("second"), CURLE_OK);
    const RecordedRequest request = lastRequest();
    EXPECT_EQ(request.connection, 1U);
    EXPECT_EQ(request.method, "GET");
    EXPECT_THAT(request.headers,
                ElementsAre(Pair("Host", hostAndPort()), Pair("Accept", "application/json")));
    EXPECT_EQ(request.body, "");
}

TEST_F(Requests, SendThePathAsItIs)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "/"},
        {"/", "/"},
        {"/roles", "/roles"},
        {"//roles", "//roles"},
        {"a/../b/./c", "/a/../b/./c"},
        {"%7C%2F%2e%zz%", "/%7C%2F%2e%zz%"},
        {"roles?filter=name%20eq%20'x'&a=b;c", "/roles?filter=name%20eq%20'x'&a=b;c"},
        {"a#b?c#d", "/a#b?c#d"},
        {"?q", "/?q"},
        {"http://other.example/x", "/http://other.example/x"},
        {"a|b\\c^d`e{f}g\"h<i>~[]@:", "/a|b\\c^d`e{f}g\"h<i>~[]@:"},
        {"a b", "/a b"},
    };
    for (const auto& [path, target] : cases) {
        ASSERT_EQ(client.Get(path), CURLE_OK) << path;
        EXPECT_EQ(lastRequest().target, target);
    }
}

TEST_F(Requests, SendALongPathWhole)
{
    const std::string path(60'000, 'x');
    ASSERT_EQ(client.Get(path), CURLE_OK);
    EXPECT_EQ(lastRequest().target, "/" + path);
}

TEST_F(Requests, AreNotSentWithABytePathsMustNotHave)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string path = std::string("a") + static_cast<char>(byte) + "b";
        EXPECT_EQ(client.Get(path), byte < 0x20 || byte >= 0x7F ? CURLE_URL_MALFORMAT : CURLE_OK) << byte;
    }
    EXPECT_EQ(client.Post("a\r\nX-Evil: 1", "{}"), CURLE_URL_MALFORMAT);
    EXPECT_EQ(server.requests().size(), 0x7FU - 0x20U);
}

TEST_F(Requests, AreNotSentToWhatIsNoHostOrPort)
{
    for (const char* host : {"", "a/b", "user@127.0.0.1", "127.0.0.1/", "127.0.0.1#", "127.0.0.1?x", "%31",
                             "[::1]", "a b", "a\nb", "h\xC3\xB6st", "x\\y"}) {
        EXPECT_EQ(clientOf(server, host).Get("path"), CURLE_URL_MALFORMAT) << host;
    }
    for (const int port : {0, -1, 65536, 1 << 30}) {
        EXPECT_EQ(clientOf(port).Get("path"), CURLE_URL_MALFORMAT) << port;
    }
    EXPECT_EQ(server.connections(), 0U);
}

TEST_F(Requests, ReachAServerByItsName)
{
    EXPECT_EQ(statusOfGet(server, "localhost"), CURLE_OK);
    EXPECT_EQ(lastRequest().header("Host"), "localhost:" + std::to_string(server.port()));
}

TEST_F(Requests, ReachAServerByItsIPv6Address)
{
    HttpsServer::Settings settings = serverSettings();
    settings.ipv6 = true;
    const HttpsServer six(settings);
    EXPECT_EQ(statusOfGet(six, "::1"), CURLE_OK);
    EXPECT_EQ(six.requests().back().header("Host"), "[::1]:" + std::to_string(six.port()));
}

TEST_F(Requests, WithoutTheHostsCertificateDoNotShowIt)
{
    HttpsServer::Settings settings = serverSettings();
    settings.clientMustHaveCertificate = false;
    const HttpsServer open(settings);
    KSClientCURL anonymous = clientOf(open.port(), "127.0.0.1", CERT_TYPE_NONE);
    EXPECT_EQ(anonymous.Get("path"), CURLE_OK);
    EXPECT_EQ(open.requests().back().clientName, "");
}

TEST_F(Requests, OfAFactorysClientsShowItsCertificate)
{
    KSClientCURLFactory factory(CERT_TYPE_HOST);
    const std::unique_ptr<KSClientCURL_Base> made(
        factory.create("127.0.0.1", server.port(), CLIENT_KIND_REST));
    EXPECT_EQ(made->Get("path"), CURLE_OK);
    EXPECT_EQ(made->httpStatus(), 200);
    EXPECT_EQ(made->responseBody(), "{}");
    EXPECT_EQ(lastRequest().clientName, "host");
}

TEST_F(Requests, ReturnTheStatusAndBodyOfAnyResponse)
{
    for (const int status : {200, 201, 202, 400, 401, 404, 409, 500, 503}) {
        const std::string body = "{\"status\":" + std::to_string(status) + "}";
        server.playNext(answer(status, body));
        EXPECT_EQ(client.Get("path"), CURLE_OK);
        EXPECT_EQ(client.httpStatus(), status);
        EXPECT_EQ(client.responseBody(), body);
    }
}

TEST_F(Requests, ReturnTheBodyByteForByte)
{
    std::string body;
    for (int byte = 0; byte < 256; ++byte) {
        body += static_cast<char>(byte);
    }
    server.playNext(answer(200, body));
    ASSERT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(client.responseBody(), body);
}

TEST_F(Requests, ReturnAnEmptyBodyOfAResponseThatHasNone)
{
    server.playNext(bytes("HTTP/1.1 204 No Content\r\n\r\n"));
    ASSERT_EQ(client.Delete("path"), CURLE_OK);
    EXPECT_EQ(client.httpStatus(), 204);
    EXPECT_EQ(client.responseBody(), "");
}

TEST_F(Requests, ReturnABodyThatComesInChunks)
{
    for (const char* header :
         {"Transfer-Encoding: chunked", "transfer-encoding:chunked", "TRANSFER-ENCODING:  \tCHUNKED"}) {
        server.playNext(
            bytes(std::string("HTTP/1.1 200 OK\r\n") + header + "\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n"));
        ASSERT_EQ(client.Get("path"), CURLE_OK) << header;
        EXPECT_EQ(client.responseBody(), "abcde");
    }
}

TEST_F(Requests, PassOverInterimResponses)
{
    server.playNext(bytes("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 102 Processing\r\nX: y\r\n\r\n"
                          "HTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}"));
    ASSERT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(client.httpStatus(), 200);
    EXPECT_EQ(client.responseBody(), "{}");
}

TEST_F(Requests, ForgetTheResponseBefore)
{
    ASSERT_EQ(client.Get("path"), CURLE_OK);
    ASSERT_EQ(client.httpStatus(), 200);
    ASSERT_EQ(client.Get("\n"), CURLE_URL_MALFORMAT);
    EXPECT_EQ(client.httpStatus(), 0);
    EXPECT_EQ(client.responseBody(), "");
}

} // namespace
} // namespace keepsafe_test
