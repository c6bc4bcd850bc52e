/// Failures below AccessControlClient::create that a server cannot provoke. This program is built with the
/// source of the factory, and has functions that fail in the place of the libraries'.

#include <exception>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/uri/percent_encode.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "client_factory.h"
#include "rbac/api/ScriptedService.h"

namespace {

/// What the functions below do.
struct Behaviour {
    bool convertsNamespaces = true;
    int encoding = 0;
    std::function<void()> onOpening = [] {};
};
Behaviour behaviour;

} // namespace

namespace Tessara::Keepsafe::Rbac {

std::ostream& operator<<(std::ostream& stream, const ObjectNamespace& /*value*/)
{
    if (!behaviour.convertsNamespaces) {
        stream.setstate(std::ios_base::failbit);
    }
    return stream << "|A|";
}

std::string AccessCache::directoryOf(const std::string& cacheId)
{
    behaviour.onOpening();
    return cacheId;
}

} // namespace Tessara::Keepsafe::Rbac

int percentEncodeUriPart(const std::string& in, std::string& out)
{
    out = in;
    return behaviour.encoding;
}

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::ExplainedFailure;
using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::TransferFailure;
using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::createClient;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using testing::ElementsAre;
using testing::Pair;

constexpr char TAG[] = "AccessControlClient::create";

class ClientFactoryFault : public testing::Test {
protected:
    ClientFactoryFault()
    {
        behaviour = {};
        writeFile(root_.path("etc/keepsafe.toml"),
                  "master_server = \"master.example\"\n[features]\nenabled = [1]\n");
    }
    ~ClientFactoryFault() override { EXPECT_EQ(client_, before_); }

    int create() { return createClient(ObjectNamespace("A"), *service_, client_, cause_); }

    /// The status, and what the cause says.
    std::pair<int, std::string> explain()
    {
        const int status = create();
        return {status, thrownBy<ExplainedFailure>([this] { std::rethrow_exception(cause_); }).reason()};
    }

    void respond(const Response& response) { service_->responses.push_back(response); }
    void respondWithCache() { respond({0, 200, R"({"data":{"type":"accessCache","id":"x"}})"}); }

    TempRoot root_;
    const boost::shared_ptr<AccessControlClient> before_ = boost::make_shared<StubAccessControlClient>();
    boost::shared_ptr<AccessControlClient> client_ = before_;
    std::exception_ptr cause_;
    const boost::shared_ptr<ScriptedService> service_ = boost::make_shared<ScriptedService>();
    CapturedLog log_{4};
    const LogLine enforced_{4, TAG, "Gen2 enforcement."};
    const LogLine requesting_{4, TAG, "Requesting cache for |A|"};
    const LogLine answered_{4, TAG,
                            "Request for /keepsafe/access-control/access-caches/|A|; http status 200"};
};

TEST_F(ClientFactoryFault, ANamespaceWithoutATextFormIs114)
{
    behaviour.convertsNamespaces = false;
    EXPECT_THAT(explain(), Pair(114, "the namespace has no text form"));
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_));
}

TEST_F(ClientFactoryFault, ATextThatCannotBeEncodedIsTheEncodersStatus)
{
    behaviour.encoding = 4711;
    EXPECT_THAT(explain(), Pair(4711, "the namespace cannot be encoded"));
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_, requesting_));
}

TEST_F(ClientFactoryFault, WhateverTheRequestThrowsPasses)
{
    respond({0, 0, "", std::make_exception_ptr(EC_exception(31))});
    EXPECT_THROW(create(), EC_exception);
    respond({0, 0, "", std::make_exception_ptr(7)});
    EXPECT_THROW(create(), int);
    EXPECT_EQ(service_->living, 0) << "the HTTP client is released before";
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_, requesting_, enforced_, requesting_));
}

TEST_F(ClientFactoryFault, WhateverIsThrownWhileTheCacheIsOpenedIsAStatus)
{
    behaviour.onOpening = [] { throw EC_exception(31); };
    respondWithCache();
    EXPECT_EQ(create(), 31);
    behaviour.onOpening = [] { throw std::runtime_error("why"); };
    respondWithCache();
    EXPECT_EQ(create(), 114);
    behaviour.onOpening = [] { throw 7; };
    respondWithCache();
    EXPECT_EQ(create(), 114);
    EXPECT_THROW(std::rethrow_exception(cause_), int) << "the last of them";
    EXPECT_THAT(log_.lines(), ElementsAre(enforced_, requesting_, answered_, enforced_, requesting_,
                                          answered_, enforced_, requesting_, answered_));
}

TEST_F(ClientFactoryFault, TheCauseOfAFailedTransferSaysWhy)
{
    respond({7, 0, "", nullptr, "GET failed"});
    EXPECT_THAT(explain(), Pair(7, "GET failed"));
    EXPECT_THROW(std::rethrow_exception(cause_), TransferFailure);
    EXPECT_THAT(service_->created, ElementsAre("master.example:1556 kind 1"));
    EXPECT_THAT(service_->requests,
                ElementsAre(Request{"GET", "/keepsafe/access-control/access-caches/|A|", ""}));
}

TEST_F(ClientFactoryFault, TheCauseOfARefusalIsWhatTheServerSays)
{
    respond({0, 404, R"({"errorCode":20,"errorMessage":"no cache"})"});
    EXPECT_THAT(explain(), Pair(114, "HTTP status 404: no cache"));
    EXPECT_THROW(std::rethrow_exception(cause_), ServiceRefusal);
}

TEST_F(ClientFactoryFault, TheCauseOfAMalformedAnswerSaysWhatIsWrong)
{
    respond({0, 200, R"({"data":{"type":"role","id":"x"}})"});
    EXPECT_THAT(explain(), Pair(7610, "Unexpected response type. Got role; expected accessCache"));
}

TEST_F(ClientFactoryFault, WithoutAnHttpClientIs114)
{
    service_->onCreate = [] { return nullptr; };
    EXPECT_THAT(explain(), Pair(114, "There is no HTTP client for master.example"));
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, TAG, "There is no HTTP client for master.example"}));
}

TEST_F(ClientFactoryFault, WithoutAMasterServerTheCauseNamesTheSetting)
{
    const std::string file = root_.path("etc/keepsafe.toml");
    writeFile(file, "[features]\nenabled = [1]\n");
    EXPECT_THAT(explain(), Pair(114, "no master server: \"master_server\" is not configured in " + file));
}

TEST_F(ClientFactoryFault, TheLongestServerNameIsAskedWhole)
{
    const std::string longest(256, 'm');
    writeFile(root_.path("etc/keepsafe.toml"),
              "master_server = \"" + longest + "\"\n[features]\nenabled = [1]\n");
    respond({7, 0, ""});
    EXPECT_EQ(create(), 7);
    EXPECT_THAT(service_->created, ElementsAre(longest + ":1556 kind 1"));
}

TEST_F(ClientFactoryFault, AnotherSuccessThan200Is114)
{
    respond({0, 201, R"({"data":{"type":"accessCache","id":"x"}})"});
    EXPECT_THAT(explain().first, 114);
    EXPECT_THAT(log_.lines(16), ElementsAre(LogLine{16, TAG, "Get access-cache return HTTP status 201"}));
}

TEST_F(ClientFactoryFault, TextAfterTheAnswerIsNoJson)
{
    const std::string answer = R"({"data":{"type":"accessCache","id":"x"}})";
    for (const std::string after : {" x", "{}", "]"}) {
        SCOPED_TRACE(after);
        log_.clear();
        respond({0, 200, answer + after});
        EXPECT_EQ(create(), 7610);
        ASSERT_EQ(log_.lines(16).size(), 1U);
        EXPECT_THAT(
            log_.lines(16)[0].text,
            testing::MatchesRegex("Error parsing response at position .*: end of file expected near '.*'"));
    }
}

TEST_F(ClientFactoryFault, APositionCountsBytesAndNotLinesOrColumns)
{
    respond({0, 200, "{\n\n\"a\": }"});
    EXPECT_EQ(create(), 7610);
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, "process_access_cace_response",
                                    "Error parsing response at position 9: unexpected token near '}'"}));
}

TEST_F(ClientFactoryFault, TypesAreComparedWhole)
{
    for (const std::string type : {"accessCaches", "accessCach", "AccessCache", "accesscache", ""}) {
        respond({0, 200, R"({"data":{"type":")" + type + R"(","id":"x"}})"});
        EXPECT_THAT(explain(),
                    Pair(7610, "Unexpected response type. Got " + type + "; expected accessCache"));
    }
}

} // namespace
} // namespace keepsafe_test
