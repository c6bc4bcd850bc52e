/// What the queries ask of the database layer, call by call. The layer's functions here stand in for the
/// library's.

#include <keepsafe/dbaccess/RBACDbQueryMgr.h>

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CapturedLog.h"
#include "support/DefaultLogger.h"
#include "support/TempDir.h"
#include "support/messages.h"
#include "tokens/TokenSigner.h"

namespace {

using Numbers = std::array<unsigned int, 8>;

struct Execution {
    std::string sql;
    int verbosity;
    std::string tag;
    bool isCommand;
    bool singleRow;
};

struct Parameter {
    const char* text;
    int size;
    bool copy;
};

/// What was asked for, and what the layer answers.
struct Calls {
    std::optional<Numbers> managerNumbers;
    std::optional<bool> connectsNow;
    int managersDeleted = 0;
    std::vector<Execution> executions;
    std::vector<Parameter> parameters;
    int viewsClosed = 0;
    int guardsEnded = 0;

    int viewStatus = 0;
    std::vector<int> fetchStatuses;
};

Calls calls;

} // namespace

namespace Tessara::Dal {

class __attribute__((visibility("hidden"))) DbConnectionManager::Pool {};
class DalOdbcView::Result {};

DbConnectionManager::DbConnectionManager(unsigned int minimum, unsigned int maximum, unsigned int retries,
                                         unsigned int retryWait, unsigned int idle, unsigned int connect,
                                         unsigned int query, USERID_TYPES user, bool connectNow)
{
    calls.managerNumbers = Numbers{minimum, maximum, retries, retryWait, idle, connect, query, user};
    calls.connectsNow = connectNow;
}
DbConnectionManager::~DbConnectionManager() { ++calls.managersDeleted; }

SSRGuard::SSRGuard(DbConnectionManager* manager, SSRDbConnection*& connection) : manager_(manager), status_(0)
{
    static std::array<char, 64> place{};
    connection_ = reinterpret_cast<SSRDbConnection*>(place.data());
    connection = connection_;
}
SSRGuard::~SSRGuard() { calls.guardsEnded += manager_ != nullptr && connection_ != nullptr ? 1 : 0; }

DalOdbcView::DalOdbcView(DbConnection* connection) : connection_(connection) {}
DalOdbcView::~DalOdbcView() { ++calls.viewsClosed; }
int DalOdbcView::status() const noexcept { return calls.viewStatus; }
DbConnectionView::DbConnectionView(DbConnection* connection) : DalOdbcView(connection) {}
DbConnectionView::~DbConnectionView() = default;

void ParameterBinder::bindInputString(const char* text, int size, bool copy)
{
    calls.parameters.push_back({text, size, copy});
}

int DbConnection::Execute(DalOdbcView* /*view*/, const char* sql,
                          const DalOdbcView::BindingStruct* /*parameters*/, LOG_AT_VERBOSITY verbosity,
                          const char* tag, bool isCommand, bool singleRow)
{
    calls.executions.push_back({sql, static_cast<int>(verbosity), tag, isCommand, singleRow});
    return 0;
}

int DbConnection::Fetch(DalOdbcView* /*view*/, void* row, unsigned long rowSize,
                        const DalOdbcView::BindingStruct* columns, unsigned long columnCount,
                        unsigned long* /*fetched*/, bool rejectNull, bool allowTruncation)
{
    EXPECT_TRUE(rejectNull);
    EXPECT_FALSE(allowTruncation);
    EXPECT_EQ(std::make_tuple(rowSize, columnCount),
              columnCount == 1 ? std::make_tuple(32001UL, 1UL) : std::make_tuple(32776UL, 3UL));
    std::memset(row, 0, rowSize);
    std::strcpy(static_cast<char*>(row) + columns[columnCount - 1].position, "document");
    const int status = calls.fetchStatuses.empty() ? STATUS_NO_MORE_ROWS : calls.fetchStatuses.front();
    if (!calls.fetchStatuses.empty()) {
        calls.fetchStatuses.erase(calls.fetchStatuses.begin());
    }
    return status;
}

} // namespace Tessara::Dal

namespace keepsafe_test {
namespace {

using Tessara::Dal::DbConnectionManager;
using Tessara::Keepsafe::RBACDbConnectionMgr;
using Tessara::Keepsafe::RBACDbQueryMgr;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char MANAGER_TAG[] = "RBACDbConnectionMgr::RBACDbConnectionMgr";
constexpr char TOKEN_TAG[] = "RBACDbQueryMgr::fetchAzToken";
constexpr char CRITERIA_TAG[] = "RBACDbQueryMgr::fetchCollectionCriteria";

class DatabaseCalls : public testing::Test {
protected:
    DatabaseCalls()
    {
        calls = Calls();
        writeFile(root_.path("var/global/tssec/jwtkeys/jwtPublicKey"), signer_.publicKeyPem());
    }

    int fetchToken()
    {
        return queries_.fetchAzToken(signer_.sign(R"({"jti":"session","exp":99999999999999})"), azToken_);
    }
    int fetchCriteria(const char* type) { return queries_.fetchCollectionCriteria({7}, type, criteria_); }

    TempRoot root_;
    keepsafe_sandbox::TokenSigner signer_ = keepsafe_sandbox::TokenSigner::generate();
    CapturedLog log_;
    RBACDbQueryMgr queries_{boost::make_shared<RBACDbConnectionMgr>(nullptr)};
    std::string azToken_ = "before";
    std::list<std::string> criteria_{"before"};
};

TEST_F(DatabaseCalls, MakeAManagerOfTheirOwnWithNineNumbersAndDeleteIt)
{
    {
        const RBACDbConnectionMgr connection(nullptr);
        EXPECT_EQ(calls.managerNumbers, (Numbers{1, 2, 0, 1, 30, 15, 40, 6}));
        EXPECT_EQ(calls.connectsNow, false);
        EXPECT_EQ(calls.managersDeleted, 0);
    }
    EXPECT_EQ(calls.managersDeleted, 1);
}

TEST_F(DatabaseCalls, TellOfTheirOwnManagerAtLevel1)
{
    {
        const DefaultLogger logger(0);
        const RBACDbConnectionMgr connection(nullptr);
        EXPECT_THAT(messagesOf(log_, MANAGER_TAG), IsEmpty());
    }
    const DefaultLogger logger(1);
    const RBACDbConnectionMgr connection(nullptr);
    EXPECT_THAT(messagesOf(log_, MANAGER_TAG),
                ElementsAre("Starting database connection manager(RBACDbConnectionMgr.cpp:*)"));
}

TEST_F(DatabaseCalls, RunTheTokensStatementForOneRowAndCopyNoParameter)
{
    calls.fetchStatuses = {0};
    EXPECT_EQ(fetchToken(), 0);
    EXPECT_EQ(azToken_, "document");
    ASSERT_EQ(calls.executions.size(), 1U);
    const Execution& run = calls.executions[0];
    EXPECT_EQ(run.sql,
              "SELECT AzTokenValue FROM AUTH_MAIN.AUTH_Access_Token_Details WHERE SessionTokenValue = ?");
    EXPECT_EQ(std::make_tuple(run.verbosity, run.tag, run.isCommand, run.singleRow),
              std::make_tuple(6, TOKEN_TAG, false, true));
    ASSERT_EQ(calls.parameters.size(), 1U);
    EXPECT_EQ(std::make_tuple(calls.parameters[0].size, calls.parameters[0].copy),
              std::make_tuple(-3, false));
}

TEST_F(DatabaseCalls, RunTheCriteriasStatementForAllRowsAndCopyNoParameter)
{
    const char type[] = "vm";
    EXPECT_EQ(fetchCriteria(type), 0);
    ASSERT_EQ(calls.executions.size(), 1U);
    const Execution& run = calls.executions[0];
    EXPECT_EQ(std::make_tuple(run.verbosity, run.tag, run.isCommand, run.singleRow),
              std::make_tuple(5, CRITERIA_TAG, false, false));
    ASSERT_EQ(calls.parameters.size(), 1U);
    EXPECT_EQ(calls.parameters[0].text, type) << "the caller's own text";
    EXPECT_EQ(std::make_tuple(calls.parameters[0].size, calls.parameters[0].copy),
              std::make_tuple(-3, false));
}

TEST_F(DatabaseCalls, EndWith220AndRunNothingWhenAViewCannotBeOpened)
{
    calls.viewStatus = 2007004;
    const DefaultLogger logger(1);
    EXPECT_EQ(fetchToken(), 220);
    EXPECT_EQ(fetchCriteria("vm"), 220);
    EXPECT_THAT(messagesOf(log_, TOKEN_TAG),
                ElementsAre("unable to open database view, error=2007004(RBACDbQueryMgr.cpp:*)"));
    EXPECT_THAT(messagesOf(log_, CRITERIA_TAG),
                ElementsAre("unable to open database view, error=2007004(RBACDbQueryMgr.cpp:*)"));
    EXPECT_THAT(calls.executions, IsEmpty());
    EXPECT_EQ(azToken_, "before");
    EXPECT_THAT(criteria_, ElementsAre("before"));
    EXPECT_EQ(calls.viewsClosed, 2);
    EXPECT_EQ(calls.guardsEnded, 2);
}

TEST_F(DatabaseCalls, TellRecordsAtLevel6AndTheirNumberAtLevel3)
{
    for (const int level : {2, 3, 5, 6}) {
        calls.fetchStatuses = {0};
        log_.clear();
        const DefaultLogger logger(level);
        EXPECT_EQ(fetchCriteria("vm"), 0);
        const std::size_t expected = level < 3 ? 0U : level < 6 ? 1U : 5U;
        EXPECT_EQ(messagesOf(log_, CRITERIA_TAG).size(), expected) << level;
    }
}

TEST(CriteriaQueryWithoutConnection, StopsTheProgram)
{
    RBACDbQueryMgr queries{nullptr};
    std::list<std::string> criteria;
    EXPECT_DEATH((void)queries.fetchCollectionCriteria({1}, "vm", criteria),
                 "Assertion `connection_ != nullptr' failed");
}

} // namespace
} // namespace keepsafe_test
