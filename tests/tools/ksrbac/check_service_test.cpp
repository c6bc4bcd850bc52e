#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "MasterServerTest.h"
#include "support/AccessModel.h"
#include "support/CacheWriter.h"

// `ksrbac check` without --cache: the answer of a process of the product.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string CACHES = "/keepsafe/access-control/access-caches/";

class CheckByService : public MasterServerTest {
protected:
    CheckByService()
    {
        writeFile(Tessara::Keepsafe::Rbac::OperationCache::fileName(), R"({"|OPERATIONS|VIEW|": 4})");
        AccessModel model;
        model.objects[ObjectNamespace("A")].own[17] = {4};
        CacheWriter(model, {}).write(root_.path("wmc/webserver/temp/access-caches/cache-7"));
        server_.playAlways(answer(200, R"({"data":{"type":"accessCache","id":"cache-7"}})"));
    }

    static std::vector<std::string> check(std::vector<std::string> more)
    {
        more.insert(more.begin(), {"check", "--operation", "|OPERATIONS|VIEW|"});
        return more;
    }
};

TEST_F(CheckByService, AsksOnceWhichCacheServesTheRootAndThenTheCache)
{
    const auto result = run(check({"--roles", "17", "|A|", "|B|"}));
    EXPECT_EQ(result.results, "allow\t|A|\ndeny\t|B|\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.status, ExitStatus::Negative);
    EXPECT_THAT(requests(), ElementsAre("GET " + CACHES + "%7C"));
}

TEST_F(CheckByService, AsksForTheCacheOfTheNamespaceThatIsGiven)
{
    EXPECT_EQ(run(check({"--for", "|A b|", "--roles", "17", "|A|"})).results, "allow\t|A|\n");
    EXPECT_THAT(requests(), ElementsAre("GET " + CACHES + "%7CA%2Bb%7C"));
}

TEST_F(CheckByService, WhereEnforcementIsOffEverythingIsAllowedAndSaidToBe)
{
    configure(root_.nameLine() + root_.tlsSection());
    const auto result = run(check({"--roles=", "|A|", "|B|"}));
    EXPECT_EQ(result.results, "allow\t|A|\nallow\t|B|\n");
    EXPECT_EQ(result.messages,
              "ksrbac: note: enforcement is off (feature 1 of the configuration): everything is allowed, and "
              "neither roles nor tokens are looked at\n");
    EXPECT_EQ(result.status, ExitStatus::Good);
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(CheckByService, ANamedCacheIsAskedWhetherOrNotEnforcementIsOn)
{
    configure("");
    const auto result = run(check({"--cache", "cache-7", "--roles=17", "|A|", "|B|"}));
    EXPECT_EQ(result.results, "allow\t|A|\ndeny\t|B|\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(CheckByService, ARefusalOfTheServiceAllowsNothing)
{
    server_.playAlways(answer(404, R"({"errorCode":20,"errorMessage":"no cache"})"));
    EXPECT_EQ(
        messageOf(check({"--for=|X|", "--roles=0", "|A|"}), ExitStatus::LibraryFailed),
        "check: asking which access cache serves |X|: status 114: a conversion or a request to a server "
        "failed (HTTP status 404: no cache)");
}

TEST_F(CheckByService, AnAnswerThatCannotBeUsedAllowsNothing)
{
    server_.playAlways(answer(200, R"({"data":{"type":"accessCache","id":"../x"}})"));
    EXPECT_EQ(
        messageOf(check({"--roles=0", "|A|"}), ExitStatus::LibraryFailed),
        "check: asking which access cache serves |: status 7610: a document, name or token is malformed "
        "(Unexpected access-cache ID format: ../x)");
}

TEST_F(CheckByService, WithoutAMasterServerItSaysWhatToConfigure)
{
    configure("[features]\nenabled = [1]\n");
    EXPECT_EQ(messageOf(check({"--roles=0", "|A|"}), ExitStatus::LibraryFailed),
              "check: asking which access cache serves |: status 114: a conversion or a request to a server "
              "failed (no master server: \"master_server\" is not configured in " +
                  root_.configurationFile + ')');
}

TEST_F(CheckByService, AnOperationThatTheCacheDoesNotKnowIsNoted)
{
    const auto result = run({"check", "--operation", "|OPERATIONS|FLY|", "--roles=17", "|A|"});
    EXPECT_EQ(result.results, "deny\t|A|\n");
    EXPECT_EQ(result.messages,
              "ksrbac: note: the operation cache does not know |OPERATIONS|FLY|: it is denied everywhere\n");
}

TEST_F(CheckByService, BadArgumentsAreToldBeforeAnythingIsSent)
{
    EXPECT_EQ(messageOf(check({"--for", "A", "--roles=17", "|A|"}), ExitStatus::BadInput),
              "--for: not a namespace: \"A\": it does not start with '|'");
    EXPECT_EQ(messageOf(check({"--for=|A|", "--cache=cache-7", "--roles=17", "|A|"}), ExitStatus::BadInput),
              "check: --for is for the service, which --cache does not ask");
    EXPECT_THAT(requests(), IsEmpty());
}

} // namespace
} // namespace keepsafe_test
