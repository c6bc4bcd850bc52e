// AccessControlClient::create against a real HTTPS server on the master server's port.

#include <keepsafe/rbac/client/AccessControlClient.h>

#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/MasterServerRoot.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

constexpr char TAG[] = "AccessControlClient::create";
constexpr char RESPONSE_TAG[] = "process_access_cace_response";

class ClientFactory : public testing::Test {
protected:
    /// A cache in which role 17 may view A.
    void writeCache(const std::string& id)
    {
        writeFile(OperationCache::fileName(), R"({"|OPERATIONS|VIEW|": 4})");
        AccessModel model;
        model.objects[ObjectNamespace("A")].own[17] = {4};
        CacheWriter(model, {}).write(cacheDirectory(id));
    }

    std::string cacheDirectory(const std::string& id)
    {
        return root_.path("wmc/webserver/temp/access-caches/" + id);
    }

    int create() { return AccessControlClient::create(ObjectNamespace("A b", "c"), client); }

    /// The status when the server answers 200 with this body.
    int createFrom(const std::string& body)
    {
        server_.playNext(answer(200, body));
        return create();
    }

    void expectUntouched() const { EXPECT_EQ(client, before_); }

    const MasterServerRoot root_;
    HttpsServer server_{root_.settings()};
    const boost::shared_ptr<AccessControlClient> before_ = boost::make_shared<StubAccessControlClient>();
    boost::shared_ptr<AccessControlClient> client = before_;
    CapturedLog log_{4};
};

TEST_F(ClientFactory, GivesTheStubClientWithoutARequestWhereEnforcementIsOff)
{
    writeFile(root_.configurationFile, root_.configuration("[]"));
    EXPECT_EQ(create(), 0);
    EXPECT_NE(client, before_);
    EXPECT_NE(dynamic_cast<StubAccessControlClient*>(client.get()), nullptr);
    EXPECT_THAT(server_.requests(), IsEmpty());
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{4, TAG, "Gen1 enforcement."}));
}

TEST_F(ClientFactory, AsksTheMasterServerAndOpensTheCacheThatItNames)
{
    writeCache("cache-7");
    EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"cache-7","attributes":{}},"links":{}})"), 0);
    ASSERT_NE(dynamic_cast<DiskAccessControlClient*>(client.get()), nullptr);

    const auto requests = server_.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].target, "/keepsafe/access-control/access-caches/%7CA%2Bb%7Cc%7C");
    EXPECT_EQ(requests[0].clientName, "host");

    boost::shared_ptr<const AccessChecker> checker;
    ASSERT_EQ(client->createAccessChecker({17}, operations::VIEW, 0, checker), 0);
    EXPECT_TRUE(checker->checkAccess(ObjectNamespace("A")));
    EXPECT_FALSE(checker->checkAccess(ObjectNamespace("B")));
}

TEST_F(ClientFactory, TellsEachStep)
{
    writeCache("cache-7");
    EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"cache-7"}})"), 0);
    std::vector<LogLine> steps;
    for (const LogLine& line : log_.lines()) {
        if (line.tag == TAG) {
            steps.push_back(line);
        }
    }
    EXPECT_THAT(steps,
                ElementsAre(LogLine{4, TAG, "Gen2 enforcement."},
                            LogLine{4, TAG, "Requesting cache for |A+b|c|"},
                            LogLine{4, TAG,
                                    "Request for /keepsafe/access-control/access-caches/%7CA%2Bb%7Cc%7C; "
                                    "http status 200"},
                            LogLine{4, TAG, "cache dir is " + cacheDirectory("cache-7")},
                            LogLine{4, TAG, "instantiating access cache"},
                            LogLine{4, TAG, "instantiating disk access cache for |A+b|c|"}));
}

TEST_F(ClientFactory, WithoutAMasterServerIsTheStatusOfItsLookup)
{
    writeFile(root_.configurationFile, "[features]\nenabled = [1]\n");
    EXPECT_EQ(create(), 114);
    expectUntouched();
    EXPECT_THAT(log_.lines(16), IsEmpty());
}

TEST_F(ClientFactory, ADamagedConfigurationEnforcesAndIs13)
{
    writeFile(root_.configurationFile, "no TOML");
    EXPECT_EQ(create(), 13);
    expectUntouched();
}

TEST_F(ClientFactory, AFailedTransferIsItsStatus)
{
    server_.playNext([](ServerConnection& connection, const auto&) { connection.reset(); });
    const int status = create();
    EXPECT_THAT(status, testing::AnyOf(52, 56)) << "no response, or the connection was reset";
    expectUntouched();
    EXPECT_THAT(log_.lines(16),
                Contains(LogLine{16, TAG, "Curl error requesting access cache: " + std::to_string(status)}));
}

TEST_F(ClientFactory, AnyHttpStatusBut200Is114)
{
    for (const int httpStatus : {404, 500, 204, 301}) {
        SCOPED_TRACE(httpStatus);
        log_.clear();
        server_.playNext(
            answer(httpStatus, httpStatus == 204 ? "" : R"({"errorCode":1,"errorMessage":"m"})"));
        EXPECT_EQ(create(), 114);
        expectUntouched();
        EXPECT_THAT(log_.lines(16),
                    ElementsAre(LogLine{
                        16, TAG, "Get access-cache return HTTP status " + std::to_string(httpStatus)}));
    }
}

TEST_F(ClientFactory, ABodyThatIsNotJsonIs7610)
{
    EXPECT_EQ(createFrom("no JSON"), 7610);
    expectUntouched();
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, RESPONSE_TAG,
                                    "Error parsing response at position 2: '[' or '{' expected near 'no'"}));
}

TEST_F(ClientFactory, ABodyWithoutTypeOrIdIs7610)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{}", "Object item not found: data"},
        {R"({"data":{"type":"accessCache"}})", "Object item not found: id"},
        {R"({"data":{"id":"x"}})", "Object item not found: type"},
        {R"({"data":{"type":"accessCache","id":7}})", "Expected string, got integer"},
        {R"({"data":[]})", "Expected object, got array"},
        {"[]", "Expected object, got array"}};
    for (const auto& [body, reason] : cases) {
        SCOPED_TRACE(body);
        log_.clear();
        EXPECT_EQ(createFrom(body), 7610);
        expectUntouched();
        EXPECT_THAT(log_.lines(16),
                    ElementsAre(LogLine{16, RESPONSE_TAG, "Error parsing response: " + reason}));
    }
}

TEST_F(ClientFactory, AnotherTypeIs7610)
{
    EXPECT_EQ(createFrom(R"({"data":{"type":"role","id":"../x"}})"), 7610) << "before the id is looked at";
    expectUntouched();
    EXPECT_THAT(
        log_.lines(16),
        ElementsAre(LogLine{16, RESPONSE_TAG, "Unexpected response type. Got role; expected accessCache"}));
}

TEST_F(ClientFactory, AnIdThatIsNotOneDirectoryNameIs7610)
{
    EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"../x"}})"), 7610);
    EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"a\\b"}})"), 7610);
    for (const std::string id : {"", ".", ".."}) {
        EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":")" + id + "\"}}"), 7610);
    }
    expectUntouched();
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, RESPONSE_TAG, "Unexpected access-cache ID format: ../x"},
                            LogLine{16, RESPONSE_TAG, "Unexpected access-cache ID format: a\\b"},
                            LogLine{16, RESPONSE_TAG, "Unexpected access-cache ID format: "},
                            LogLine{16, RESPONSE_TAG, "Unexpected access-cache ID format: ."},
                            LogLine{16, RESPONSE_TAG, "Unexpected access-cache ID format: .."}));
}

TEST_F(ClientFactory, ACacheThatCannotBeOpenedIs12)
{
    EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"missing"}})"), 12);
    expectUntouched();
    const std::string manifest = cacheDirectory("missing") + "/manifest.json";
    EXPECT_THAT(log_.lines(16),
                ElementsAre(LogLine{16, "Manifest constructor",
                                    "Error loading " + manifest + " at position 0: unable to open " +
                                        manifest + ": No such file or directory"}));
}

TEST_F(ClientFactory, StopsAtTheStepThatFails)
{
    const LogLine mapping{4, TAG, "instantiating access cache"};
    const LogLine opened{4, TAG, "instantiating disk access cache for |A+b|c|"};
    const char answered[] = R"({"data":{"type":"accessCache","id":"cache-7"}})";
    EXPECT_EQ(createFrom(answered), 12) << "there is no manifest";
    EXPECT_THAT(log_.lines(), Contains(LogLine{4, TAG, "cache dir is " + cacheDirectory("cache-7")}));
    EXPECT_THAT(log_.lines(), Not(Contains(mapping)));
    writeFile(cacheDirectory("cache-7") + "/manifest.json", R"({"namespace":"|"})");
    EXPECT_EQ(createFrom(answered), 114) << "there is nothing but the manifest";
    EXPECT_THAT(log_.lines(), Contains(mapping));
    EXPECT_THAT(log_.lines(), Not(Contains(opened)));
}

TEST_F(ClientFactory, ACacheForWhatIsNoNamespaceIs7610)
{
    writeFile(cacheDirectory("cache-7") + "/manifest.json", R"({"namespace":"A"})");
    EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"cache-7"}})"), 7610);
    expectUntouched();
    EXPECT_THAT(log_.lines(16), IsEmpty());
}

TEST_F(ClientFactory, AnythingElseThatGoesWrongWhileOpeningIs114)
{
    writeCache("cache-7");
    std::filesystem::remove(cacheDirectory("cache-7") + '/' + AccessCache::OBJECT_FILE_NAME);
    EXPECT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"cache-7"}})"), 114);
    expectUntouched();
    EXPECT_THAT(log_.lines(16), IsEmpty());
}

TEST_F(ClientFactory, GivesAllItsClientsTheSameOperations)
{
    writeCache("cache-7");
    const ObjectNamespace operation("OPERATIONS", "KNOWN_TO_ALL_CLIENTS");
    writeFile(OperationCache::fileName(), "{\"" + operation.str() + "\": 4}");
    boost::shared_ptr<const AccessChecker> checker;
    ASSERT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"cache-7"}})"), 0);
    ASSERT_EQ(client->createAccessChecker({17}, operation, 0, checker), 0);
    std::filesystem::remove(OperationCache::fileName());
    ASSERT_EQ(createFrom(R"({"data":{"type":"accessCache","id":"cache-7"}})"), 0);
    ASSERT_EQ(client->createAccessChecker({17}, operation, 0, checker), 0) << "nothing is left to be read";
    EXPECT_TRUE(checker->checkAccess(ObjectNamespace("A")));
}

TEST_F(ClientFactory, ServesThreadsAtOnce)
{
    writeCache("cache-7");
    server_.playAlways(answer(200, R"({"data":{"type":"accessCache","id":"cache-7"}})"));
    constexpr int THREADS = 16;
    std::vector<int> statuses(THREADS, -1);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&statuses, thread] {
            boost::shared_ptr<AccessControlClient> own;
            int& status = statuses[static_cast<std::size_t>(thread)];
            for (int round = 0; round < 5 && (round == 0 || status == 0); ++round) {
                status = AccessControlClient::create(ObjectNamespace("A"), own);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(statuses, testing::Each(0));
}

} // namespace
} // namespace keepsafe_test
