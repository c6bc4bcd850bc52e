#include <keepsafe/dbaccess/RBACDbQueryMgr.h>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>

#include "dbaccess/SessionTest.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::TokenSigner;
using Tessara::Dal::DalOdbcView;
using Tessara::Dal::DbConnectionManager;
using Tessara::Dal::DbConnectionSettings;
using Tessara::Keepsafe::RBACDbConnectionMgr;
using Tessara::Keepsafe::RBACDbQueryMgr;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char TOKEN_TAG[] = "RBACDbQueryMgr::fetchAzToken";
constexpr char CRITERIA_TAG[] = "RBACDbQueryMgr::fetchCollectionCriteria";

class QueryTest : public SessionTest {
protected:
    int fetchAzToken(const std::string& sessionToken)
    {
        return queries_.fetchAzToken(sessionToken, azToken_);
    }

    int fetchCriteria(const std::set<int>& keys, const char* objectType)
    {
        return queries_.fetchCollectionCriteria(keys, objectType, criteria_);
    }

    RBACDbQueryMgr queries_{boost::make_shared<RBACDbConnectionMgr>(&database_.manager())};
    std::string azToken_ = "before";
    std::list<std::string> criteria_{"before"};
};

using AuthorizationTokenQuery = QueryTest;

TEST_P(AuthorizationTokenQuery, GivesTheTokenThatIsStoredForTheSessionsIdentifier)
{
    database_.storeToken("session-1", "stored");
    const CapturedLog log(16);
    EXPECT_EQ(fetchAzToken(sessionToken("session-1")), 0);
    EXPECT_EQ(azToken_, "stored");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_P(AuthorizationTokenQuery, AnUnknownSessionIs117)
{
    database_.storeToken("session-1", "stored");
    const std::string token = sessionToken("session-2");
    const CapturedLog log;
    const DefaultLogger logger(1);
    EXPECT_EQ(fetchAzToken(token), 117);
    EXPECT_EQ(azToken_, "before");
    EXPECT_THAT(messagesOf(log, TOKEN_TAG, 4),
                ElementsAre("session token not found in database(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(AuthorizationTokenQuery, AnIdentifierIsAValueAndNeverAPartOfTheStatement)
{
    database_.storeToken("session-1", "stored");
    EXPECT_EQ(fetchAzToken(sessionToken("x' OR '1'='1")), 117);
    EXPECT_EQ(azToken_, "before");
}

TEST_P(AuthorizationTokenQuery, ATokenOfAnotherKeyIs8002AndRunsNoStatement)
{
    database_.storeToken("session-1", "stored");
    const std::string forged = TokenSigner::generate().sign(R"({"jti":"session-1","exp":99999999999999})");
    const CapturedLog log;
    const DefaultLogger logger(6);
    EXPECT_EQ(fetchAzToken(forged), 8002);
    EXPECT_EQ(azToken_, "before");
    EXPECT_THAT(messagesOf(log, TOKEN_TAG),
                ElementsAre("failed to parse session jwt. error=8002(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(AuthorizationTokenQuery, AnExpiredTokenIs8001AndRunsNoStatement)
{
    database_.storeToken("session-1", "stored");
    const std::string expired = signer().sign(R"({"jti":"session-1","exp":)" + milliseconds(-1) + "}");
    const CapturedLog log;
    const DefaultLogger logger(6);
    EXPECT_EQ(fetchAzToken(expired), 8001);
    EXPECT_EQ(azToken_, "before");
    EXPECT_THAT(messagesOf(log, TOKEN_TAG),
                ElementsAre("failed to parse session jwt. error=8001(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(AuthorizationTokenQuery, ATokenWithoutIdentifierIsLookedUpAllTheSameAndNotFound)
{
    const std::string token = signer().sign(R"({"exp":)" + milliseconds(60) + "}");
    const CapturedLog log;
    const DefaultLogger logger(1);
    EXPECT_EQ(fetchAzToken(token), 117);
    EXPECT_THAT(messagesOf(log, TOKEN_TAG, 4),
                ElementsAre("failed to retrieve JWT ID from JWT, error=8002(RBACDbQueryMgr.cpp:*)",
                            "session token not found in database(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(AuthorizationTokenQuery, OfSeveralRowsTheFirstIsTaken)
{
    database_.storeToken("session-1", "stored");
    database_.storeToken("session-1", "stored");
    EXPECT_EQ(fetchAzToken(sessionToken("session-1")), 0);
    EXPECT_EQ(azToken_, "stored");
}

TEST_P(AuthorizationTokenQuery, ATokenOf32000BytesFitsAndALongerOneIsAnErrorNotAPartOfIt)
{
    database_.storeToken("fits", std::string(32000, 'a'));
    database_.storeToken("too-long", std::string(32001, 'b'));
    EXPECT_EQ(fetchAzToken(sessionToken("fits")), 0);
    EXPECT_EQ(azToken_, std::string(32000, 'a'));

    const CapturedLog log;
    const DefaultLogger logger(1);
    EXPECT_EQ(fetchAzToken(sessionToken("too-long")), 220);
    EXPECT_EQ(azToken_, std::string(32000, 'a'));
    EXPECT_THAT(messagesOf(log, TOKEN_TAG, 4),
                ElementsAre("failed to fetch azToken from database, error=2007008(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(AuthorizationTokenQuery, ARowWithoutTokenIs220)
{
    database_.run("INSERT INTO AUTH_MAIN.AUTH_Access_Token_Details VALUES ('session-1', NULL)");
    const CapturedLog log;
    const DefaultLogger logger(1);
    EXPECT_EQ(fetchAzToken(sessionToken("session-1")), 220);
    EXPECT_EQ(azToken_, "before");
    EXPECT_THAT(messagesOf(log, TOKEN_TAG, 4),
                ElementsAre("failed to fetch azToken from database, error=2007009(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(AuthorizationTokenQuery, AMissingTableIs220)
{
    database_.run("DROP TABLE AUTH_MAIN.AUTH_Access_Token_Details");
    const CapturedLog log;
    const DefaultLogger logger(1);
    EXPECT_EQ(fetchAzToken(sessionToken("session-1")), 220);
    EXPECT_THAT(messagesOf(log, TOKEN_TAG, 4),
                ElementsAre("failed to execute SQL statement, error=2007005(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(AuthorizationTokenQuery, SaysNothingWithoutADefaultLoggerOrBelowItsLevel)
{
    const std::string token = sessionToken("session-1");
    const CapturedLog log;
    EXPECT_EQ(fetchAzToken(token), 117);
    const DefaultLogger logger(0);
    EXPECT_EQ(fetchAzToken(token), 117);
    EXPECT_THAT(messagesOf(log, TOKEN_TAG, 4), IsEmpty());
}

using CriteriaQuery = QueryTest;

TEST_P(CriteriaQuery, AppendsTheDocumentsOfTheCollectionsAndTheType)
{
    database_.storeCriteria(1, 7, R"({"a":1})", "vm");
    database_.storeCriteria(2, 42, R"({"b":2})", "vm");
    database_.storeCriteria(3, 42, R"({"c":3})", "database");
    database_.storeCriteria(4, 8, R"({"d":4})", "vm");
    EXPECT_EQ(fetchCriteria({42, 7, 19}, "vm"), 0);
    criteria_.sort();
    EXPECT_THAT(criteria_, ElementsAre("before", R"({"a":1})", R"({"b":2})"));
}

TEST_P(CriteriaQuery, TellsEachRecordAndTheirNumber)
{
    database_.storeCriteria(3, 42, R"({"c":3})", "vm");
    const CapturedLog log;
    const DefaultLogger logger(6);
    EXPECT_EQ(fetchCriteria({42}, "vm"), 0);
    EXPECT_THAT(messagesOf(log, CRITERIA_TAG, 2),
                ElementsAre("collection key=42(RBACDbQueryMgr.cpp:*)", "criteria id=3(RBACDbQueryMgr.cpp:*)",
                            R"(fetched collection criteria={"c":3}(RBACDbQueryMgr.cpp:*))",
                            "failed to fetch collection criteria record from database, "
                            "error=2007031(RBACDbQueryMgr.cpp:*)",
                            "total records read from the database 1(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(CriteriaQuery, WithoutARowGives0AndLeavesTheList)
{
    const CapturedLog log;
    const DefaultLogger logger(3);
    EXPECT_EQ(fetchCriteria({1}, "vm"), 0);
    EXPECT_THAT(criteria_, ElementsAre("before"));
    EXPECT_THAT(messagesOf(log, CRITERIA_TAG, 2),
                ElementsAre("total records read from the database 0(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(CriteriaQuery, WritesTheKeysInAscendingOrderAndWithoutKeysAnEmptyList)
{
    const CapturedLog log;
    EXPECT_EQ(fetchCriteria({42, 7, 19}, "vm"), 0);
    (void)fetchCriteria({}, "vm");
    const std::string start = "SELECT CC.CriteriaID, CC.CollectionKey, CC.CriteriaJson FROM "
                              "AUTH_MAIN.ACTL_CollectionCriteria as CC  WHERE CC.CollectionKey IN (";
    EXPECT_THAT(statementsOf(log, CRITERIA_TAG),
                ElementsAre(start + "7, 19, 42) AND objectType = ?", start + ") AND objectType = ?"));
}

TEST_P(CriteriaQuery, AnEmptyListIsForTheDatabaseToReject)
{
    const CapturedLog log;
    const DefaultLogger logger(1);
    const int status = fetchCriteria({}, "vm");
    EXPECT_THAT(criteria_, ElementsAre("before"));
    if (GetParam() == DatabaseKind::Sqlite) { // its SQL allows one
        EXPECT_EQ(status, 0);
        return;
    }
    EXPECT_EQ(status, 220);
    EXPECT_THAT(messagesOf(log, CRITERIA_TAG, 4),
                ElementsAre("failed to execute SQL statement, error=2007005(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(CriteriaQuery, ADocumentOf32767BytesFitsAndALongerOneEndsTheQueryWith220)
{
    database_.storeCriteria(1, 7, std::string(32767, 'a'), "vm");
    EXPECT_EQ(fetchCriteria({7}, "vm"), 0);
    EXPECT_EQ(criteria_.back(), std::string(32767, 'a'));

    criteria_ = {"before"};
    database_.storeCriteria(2, 8, std::string(32768, 'b'), "vm");
    const CapturedLog log;
    const DefaultLogger logger(6);
    EXPECT_EQ(fetchCriteria({8}, "vm"), 220);
    EXPECT_THAT(criteria_, ElementsAre("before"));
    EXPECT_THAT(messagesOf(log, CRITERIA_TAG, 2),
                ElementsAre("failed to fetch collection criteria record from database, "
                            "error=2007008(RBACDbQueryMgr.cpp:*)",
                            "total records read from the database 0(RBACDbQueryMgr.cpp:*)"));
}

TEST_P(CriteriaQuery, RowsBeforeAFailureStay)
{
    database_.storeCriteria(1, 7, "whole", "vm");
    database_.run("INSERT INTO AUTH_MAIN.ACTL_CollectionCriteria VALUES (2, 7, NULL, 'vm')");
    EXPECT_EQ(fetchCriteria({7}, "vm"), 220);
    EXPECT_THAT(criteria_, ElementsAre("before", "whole"));
}

TEST_P(CriteriaQuery, WithoutATypeFindsNothing)
{
    database_.storeCriteria(1, 7, "{}", "vm");
    EXPECT_EQ(fetchCriteria({7}, nullptr), 0);
    EXPECT_THAT(criteria_, ElementsAre("before"));
}

INSTANTIATE_TEST_SUITE_P(On, AuthorizationTokenQuery, allDatabases(), kindName);
INSTANTIATE_TEST_SUITE_P(On, CriteriaQuery, allDatabases(), kindName);

/// Queries of a manager that cannot connect.
class UnreachableDatabase : public testing::Test {
protected:
    static DbConnectionSettings settings()
    {
        DbConnectionSettings nowhere;
        nowhere.connectionString = "Driver=SQLite3;Database=/nonexistent/folder/main.db;";
        nowhere.onConnect = {"ATTACH DATABASE '/nonexistent/folder/auth.db' AS AUTH_MAIN"};
        return nowhere;
    }

    DbConnectionManager manager_{settings()};
    RBACDbQueryMgr queries_{boost::make_shared<RBACDbConnectionMgr>(&manager_)};
};

TEST_F(UnreachableDatabase, Gives220ForAToken)
{
    const CapturedLog log;
    const DefaultLogger logger(1);
    std::string azToken = "before";
    EXPECT_EQ(queries_.fetchAzToken("any", azToken), 220);
    EXPECT_EQ(azToken, "before");
    EXPECT_THAT(messagesOf(log, TOKEN_TAG, 4),
                ElementsAre("not connected to the database, error=2007002(RBACDbQueryMgr.cpp:*)"));
}

TEST_F(UnreachableDatabase, Gives220ForCriteria)
{
    const CapturedLog log;
    const DefaultLogger logger(1);
    std::list<std::string> criteria{"before"};
    EXPECT_EQ(queries_.fetchCollectionCriteria({1}, "vm", criteria), 220);
    EXPECT_THAT(criteria, ElementsAre("before"));
    EXPECT_THAT(messagesOf(log, CRITERIA_TAG, 4),
                ElementsAre("not connected to the database, error=2007002(RBACDbQueryMgr.cpp:*)"));
}

TEST(RBACDbQueryMgr, StopsTheProgramWhenItWasGivenNoConnection)
{
    RBACDbQueryMgr queries{nullptr};
    std::string azToken;
    EXPECT_DEATH((void)queries.fetchAzToken("any", azToken), "Assertion `connection_ != nullptr' failed");
}

void expectBinding(const DalOdbcView::BindingStruct& binding, unsigned short number, const char* name,
                   int valueType, std::size_t position, std::size_t length)
{
    EXPECT_EQ(binding.number, number);
    EXPECT_STREQ(binding.name, name);
    EXPECT_EQ(binding.valueType, valueType);
    EXPECT_EQ(binding.position, position);
    EXPECT_EQ(binding.length, length);
}

TEST(RBACDbQueryMgr, BindsTheColumnsOfItsRowRecords)
{
    expectBinding(RBACDbQueryMgr::collectionCriteriaBinding[0], 1, "CriteriaID", 992, 0, 4);
    expectBinding(RBACDbQueryMgr::collectionCriteriaBinding[1], 2, "CollectionKey", 992, 4, 4);
    expectBinding(RBACDbQueryMgr::collectionCriteriaBinding[2], 3, "CriteriaJson", 1000, 8, 32768);
    expectBinding(RBACDbQueryMgr::accessTokenDetailsBinding[0], 1, "AzTokenValue", 1000, 0, 32001);
    EXPECT_STREQ(RBACDbQueryMgr::SELECT_ACCESS_TOKEN_DETAILS, "AzTokenValue");
    EXPECT_STREQ(RBACDbQueryMgr::SELECT_ACCESS_TOKEN_DETAILS_FROM,
                 " FROM AUTH_MAIN.AUTH_Access_Token_Details");
}

TEST(ParameterBinder, DescribesAZeroTerminatedTextByItsPointer)
{
    const char text[] = "value";
    Tessara::Dal::ParameterBinder parameters;
    parameters.bindInputString(text, -3, false);
    const DalOdbcView::BindingStruct& parameter = parameters.get()[0];
    EXPECT_EQ(parameter.kind, 1);
    EXPECT_EQ(parameter.valueType, 1000);
    EXPECT_EQ(parameter.sqlType, 1002);
    EXPECT_STREQ(parameter.name, "ptr");
    EXPECT_EQ(parameter.text, text);
}

} // namespace
} // namespace keepsafe_test
