// From a session token to role ids and answers, through a real database.

#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>
#include <keepsafe/rbac/questions/explain.h>
#include <keepsafe/rbac/questions/matrix.h>
#include <keepsafe/rbac/questions/roles_and_operations.h>

#include "dbaccess/SessionTest.h"
#include "support/CacheWriter.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::CheckerList;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Explainer;
using Tessara::Keepsafe::Rbac::JWTHandler;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

class RoleLookup : public SessionTest {
protected:
    int getRoleIds(const std::string& token)
    {
        return JWTHandler().getRoleIds(&database_.manager(), token, roleIds_);
    }

    std::set<int> roleIds_;
};

TEST_P(RoleLookup, GivesTheRolesOfTheStoredAuthorizationToken)
{
    database_.storeToken("session-1", authorizationToken("[3,17,42]"));
    const CapturedLog log(16);
    EXPECT_EQ(getRoleIds(sessionToken("session-1")), 0);
    EXPECT_THAT(roleIds_, ElementsAre(3, 17, 42));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_P(RoleLookup, AddsToTheRolesThatTheSetHolds)
{
    database_.storeToken("session-1", authorizationToken("[5,5,2]"));
    roleIds_ = {9};
    EXPECT_EQ(getRoleIds(sessionToken("session-1")), 0);
    EXPECT_THAT(roleIds_, ElementsAre(2, 5, 9));
}

TEST_P(RoleLookup, AcceptsAStoredTokenThatHasExpiredAndThatAnotherKeySigned)
{
    database_.storeToken("session-1",
                         keepsafe_sandbox::TokenSigner::generate().sign(R"({"roles":[4],"exp":1})"));
    EXPECT_EQ(getRoleIds(sessionToken("session-1")), 0);
    EXPECT_THAT(roleIds_, ElementsAre(4));
}

TEST_P(RoleLookup, AnUnknownSessionIs117WithItsLines)
{
    const std::string token = sessionToken("session-2");
    const CapturedLog log(16);
    EXPECT_EQ(getRoleIds(token), 117);
    EXPECT_THAT(roleIds_, IsEmpty());
    EXPECT_THAT(
        log.lines(),
        ElementsAre(LogLine{16, "JWTHandler::fetchAzToken", "Failed to fetch authorization token, error=117"},
                    LogLine{16, "JWTHandler::getRoleIds", "Failed to get role IDS, error=117"}));
}

TEST_P(RoleLookup, AnExpiredSessionTokenIs8001)
{
    database_.storeToken("session-1", authorizationToken("[3]"));
    EXPECT_EQ(getRoleIds(signer().sign(R"({"jti":"session-1","exp":)" + milliseconds(-10) + "}")), 8001);
    EXPECT_THAT(roleIds_, IsEmpty());
}

TEST_P(RoleLookup, AForgedSessionTokenIs8002)
{
    database_.storeToken("session-1", authorizationToken("[3]"));
    std::string token = sessionToken("session-1");
    token[token.find('.') + 5] ^= 1;
    EXPECT_EQ(getRoleIds(token), 8002);
    EXPECT_THAT(roleIds_, IsEmpty());
}

TEST_P(RoleLookup, AStoredTextThatIsNoTokenIs8002)
{
    database_.storeToken("session-1", "no token");
    const CapturedLog log(16);
    EXPECT_EQ(getRoleIds(sessionToken("session-1")), 8002);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "JWT::tokenizeJWT", "JWT Token is invalid"},
                            LogLine{16, "JWTHandler::extractRoleIds", "Failed to create JWT, error=8002"},
                            LogLine{16, "JWTHandler::getRoleIds", "Failed to get role IDS, error=8002"}));
}

TEST_P(RoleLookup, AStoredTokenWithAnUnreadablePayloadHasTheStatusOfReadingIt)
{
    database_.storeToken("not-json", "a.YWJj.c");
    database_.storeToken("bad-length", "a.abcde.c");
    EXPECT_EQ(getRoleIds(sessionToken("not-json")), 7610);
    EXPECT_EQ(getRoleIds(sessionToken("bad-length")), 20);
    EXPECT_THAT(roleIds_, IsEmpty());
}

TEST_P(RoleLookup, AnElementThatIsNoIntegerIs8002)
{
    database_.storeToken("session-1", authorizationToken(R"([1,"x",3])"));
    EXPECT_EQ(getRoleIds(sessionToken("session-1")), 8002);
    EXPECT_THAT(roleIds_, ElementsAre(1));
}

TEST_P(RoleLookup, WithoutAManagerConnectsAsTheConfigurationSays)
{
    database_.storeToken("session-1", authorizationToken("[3]"));
    writeFile(root_.path("etc/keepsafe.toml"), database_.configuration());
    EXPECT_EQ(JWTHandler().getRoleIds(nullptr, sessionToken("session-1"), roleIds_), 0);
    EXPECT_THAT(roleIds_, ElementsAre(3));
}

TEST_P(RoleLookup, WithoutAManagerAndAConfigurationIs220)
{
    const CapturedLog log;
    const DefaultLogger logger(1);
    EXPECT_EQ(JWTHandler().getRoleIds(nullptr, sessionToken("session-1"), roleIds_), 220);
    EXPECT_THAT(messagesOf(log, "RBACDbQueryMgr::fetchAzToken", 4),
                ElementsAre("not connected to the database, error=2007001(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(RoleLookup, ServesThreadsAtOnce)
{
    constexpr int THREADS = 8;
    std::vector<std::string> tokens;
    for (int thread = 0; thread < THREADS; ++thread) {
        const std::string jti = "session-" + std::to_string(thread);
        database_.storeToken(jti, authorizationToken("[" + std::to_string(thread) + "]"));
        tokens.push_back(sessionToken(jti));
    }
    std::vector<int> wrong(THREADS);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 20; ++round) {
                std::set<int> roleIds;
                const auto index = static_cast<std::size_t>(thread);
                const int status = JWTHandler().getRoleIds(&database_.manager(), tokens[index], roleIds);
                wrong[index] += status == 0 && roleIds == std::set<int>{thread} ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(wrong, testing::Each(0));
}

INSTANTIATE_TEST_SUITE_P(On, RoleLookup, allDatabases(), kindName);

/// A client of a cache in which role 17 may view A.
class CheckerBySessionToken : public SessionTest {
protected:
    CheckerBySessionToken()
    {
        writeFile(OperationCache::fileName(), R"({"|OPERATIONS|VIEW|": 4})");
        AccessModel model;
        model.objects[ObjectNamespace("A")].own[17] = {4};
        CacheWriter(model, {}).write(root_.path("cache"));
        database_.storeToken("session-1", authorizationToken("[3,17]"));
        database_.storeToken("session-2", authorizationToken("[3]"));
    }

    boost::shared_ptr<const AccessCache> cache()
    {
        return boost::make_shared<const AccessCache>(Manifest("id", root_.path("cache")));
    }

    OperationCache operationCache_;
    boost::shared_ptr<const AccessChecker> checker_;
};

TEST_P(CheckerBySessionToken, AnswersForTheRolesOfTheToken)
{
    DiskAccessControlClient client(ObjectNamespace(), cache(), operationCache_);
    EXPECT_EQ(client.createAccessChecker(&database_.manager(), sessionToken("session-1"), operations::VIEW, 0,
                                         checker_),
              0);
    ASSERT_TRUE(checker_);
    EXPECT_TRUE(checker_->checkAccess(ObjectNamespace("A")));
    EXPECT_FALSE(checker_->checkAccess(ObjectNamespace("B")));

    EXPECT_EQ(client.createAccessChecker(&database_.manager(), sessionToken("session-2"), operations::VIEW, 0,
                                         checker_),
              0);
    ASSERT_TRUE(checker_);
    EXPECT_FALSE(checker_->checkAccess(ObjectNamespace("A")));
}

TEST_P(CheckerBySessionToken, AFailedLookupIsItsStatusAndLeavesTheChecker)
{
    DiskAccessControlClient client(ObjectNamespace(), cache(), operationCache_);
    const auto before = boost::make_shared<const Tessara::Keepsafe::Rbac::ConstantAccessChecker<false>>();
    checker_ = before;
    const std::string unknown = sessionToken("session-3");
    const CapturedLog log(16);
    EXPECT_EQ(client.createAccessChecker(&database_.manager(), unknown, operations::VIEW, 0, checker_), 117);
    EXPECT_EQ(checker_, before);
    EXPECT_THAT(log.lines(), Contains(LogLine{16, "DiskAccessControlClient::createAccessChecker",
                                              "Failed to extract role IDs from ID token, error=117"}));
}

TEST_P(CheckerBySessionToken, QuestionsAreAnsweredForTheRolesOfTheToken)
{
    DiskAccessControlClient client(ObjectNamespace(), cache(), operationCache_);
    std::set<int> roleIds{9};
    EXPECT_EQ(findRoles(client, &database_.manager(), sessionToken("session-1"), roleIds), 0);
    EXPECT_THAT(roleIds, ElementsAre(3, 17));
    EXPECT_TRUE(Explainer(client, roleIds, operations::VIEW).verdict(ObjectNamespace("A")).isAllowed);
    EXPECT_THAT(whatMay(client, roleIds, ObjectNamespace("A")).operations, ElementsAre(operations::VIEW));
    const CapturedLog log(17);
    EXPECT_EQ(findRoles(client, &database_.manager(), sessionToken("session-3"), roleIds), 117);
    EXPECT_THAT(roleIds, ElementsAre(3, 17));
}

TEST_P(CheckerBySessionToken, CheckersOfSeveralOperationsHaveTheRolesOfTheToken)
{
    DiskAccessControlClient client(ObjectNamespace(), cache(), operationCache_);
    const CapturedLog log(17);
    for (const auto& [session, isAllowed] : {std::pair("session-1", true), std::pair("session-2", false)}) {
        CheckerList checkers;
        ASSERT_EQ(createAccessCheckers(client, &database_.manager(), sessionToken(session),
                                       {operations::ADD, operations::VIEW}, 0, checkers),
                  0);
        const auto matrix = checkMatrix(checkers, {ObjectNamespace("A"), ObjectNamespace("B")});
        EXPECT_EQ(matrix.isAllowed(0, 1), isAllowed);
        EXPECT_FALSE(matrix.isAllowed(0, 0));
        EXPECT_FALSE(matrix.isAllowed(1, 1));
    }
}

/// Notes what the lookup hands on.
class NotingClient : public DiskAccessControlClient {
public:
    using DiskAccessControlClient::createAccessChecker;
    using DiskAccessControlClient::DiskAccessControlClient;

    int createAccessChecker(const std::set<int>& roleIds, const ObjectNamespace& operation, int reserved,
                            boost::shared_ptr<const AccessChecker>& /*checker*/) override
    {
        roleIds_ = roleIds;
        operation_ = operation;
        reserved_ = reserved;
        return 4711;
    }

    std::set<int> roleIds_;
    ObjectNamespace operation_;
    int reserved_ = 0;
};

TEST_P(CheckerBySessionToken, HandsTheRolesToAnOverrideOfTheOtherOperation)
{
    NotingClient client(ObjectNamespace(), cache(), operationCache_);
    EXPECT_EQ(client.createAccessChecker(&database_.manager(), sessionToken("session-1"), operations::VIEW, 8,
                                         checker_),
              4711);
    EXPECT_THAT(client.roleIds_, ElementsAre(3, 17));
    EXPECT_EQ(client.operation_, operations::VIEW);
    EXPECT_EQ(client.reserved_, 8);
}

INSTANTIATE_TEST_SUITE_P(On, CheckerBySessionToken, allDatabases(), kindName);

} // namespace
} // namespace keepsafe_test
