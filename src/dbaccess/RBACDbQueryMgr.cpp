#include <keepsafe/dbaccess/RBACDbQueryMgr.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include <boost/assert.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/jwt/ValidatingJwtParser.h>
#include <keepsafe/platform/status/status_codes.h>

#include "debug_log.h"
#include "require.h"

namespace Tessara::Keepsafe {

using diagnostics::debugLog;
using Tessara::Dal::DalOdbcView;
using Tessara::Dal::DbConnectionView;
using Tessara::Dal::LOG_AT_VERBOSITY;
using Tessara::Dal::SSRDbConnection;
using Tessara::Dal::SSRGuard;

namespace {

constexpr char TOKEN_TAG[] = "RBACDbQueryMgr::fetchAzToken";
constexpr char CRITERIA_TAG[] = "RBACDbQueryMgr::fetchCollectionCriteria";

/// Importance of messages to the default logger.
constexpr int FAILURE = 1;
constexpr int SUMMARY = 3;
constexpr int RECORD = 6;

struct AccessTokenDetails {
    char azTokenValue[32001];
};
static_assert(sizeof(AccessTokenDetails) == 32001);

struct CollectionCriteria {
    std::int32_t criteriaId;
    std::int32_t collectionKey;
    char criteriaJson[32768];
};
static_assert(sizeof(CollectionCriteria) == 32776);

/// Runs one query on a borrowed connection, which it returns afterwards.
class Query {
public:
    Query(RBACDbConnectionMgr& manager, const char* tag)
        : tag_(tag), guard_(manager.getDbConnectionMgr(), connection_)
    {
        if (guard_.status() != Status::SUCCESS) {
            debugLog({tag_, FAILURE}, "not connected to the database, error=", guard_.status());
            return;
        }
        view_.emplace(connection_);
        if (view_->status() != Status::SUCCESS) {
            debugLog({tag_, FAILURE}, "unable to open database view, error=", view_->status());
        }
    }

    [[nodiscard]] bool isOpen() const { return view_ && view_->status() == Status::SUCCESS; }

    [[nodiscard]] bool execute(const std::string& sql, const char* parameter, int verbosity, bool singleRow)
    {
        Tessara::Dal::ParameterBinder parameters;
        parameters.bindInputString(parameter, Tessara::Dal::ZERO_TERMINATED, false);
        const int status =
            connection_->Execute(&*view_, sql.c_str(), parameters.get(),
                                 static_cast<LOG_AT_VERBOSITY>(verbosity), tag_, false, singleRow);
        if (status != Status::SUCCESS) {
            debugLog({tag_, FAILURE}, "failed to execute SQL statement, error=", status);
        }
        return status == Status::SUCCESS;
    }

    template <typename Row, std::size_t COUNT>
    [[nodiscard]] int fetch(Row& row, const DalOdbcView::BindingStruct (&columns)[COUNT])
    {
        unsigned long fetched = 0;
        return connection_->Fetch(&*view_, &row, sizeof(Row), columns, COUNT, &fetched, true, false);
    }

private:
    const char* tag_;
    SSRDbConnection* connection_ = nullptr;
    SSRGuard guard_;
    std::optional<DbConnectionView> view_;
};

/// The identifier of a session token that its signature and expiry vouch for.
int readSessionId(const std::string& sessionToken, std::string& sessionId)
{
    const boost::shared_ptr<RBACJwtParser> parser = boost::make_shared<ValidatingJwtParser>();
    JWT* parsed = nullptr;
    const int parsing = parser->parseJwt(sessionToken, parsed);
    const std::unique_ptr<const JWT> jwt(parsed);
    if (parsing != Status::SUCCESS) {
        debugLog({TOKEN_TAG, FAILURE}, "failed to parse session jwt. error=", parsing);
        return parsing;
    }
    const int reading = jwt->getJwtId(sessionId);
    if (reading != Status::SUCCESS) {
        // No token is stored under an empty identifier, so the lookup ends as for an unknown session.
        debugLog({TOKEN_TAG, FAILURE}, "failed to retrieve JWT ID from JWT, error=", reading);
    }
    return Status::SUCCESS;
}

std::string criteriaStatement(const std::set<int>& collectionKeys)
{
    std::string sql = "SELECT CC.CriteriaID, CC.CollectionKey, CC.CriteriaJson"
                      " FROM AUTH_MAIN.ACTL_CollectionCriteria as CC  WHERE CC.CollectionKey IN (";
    const char* separator = "";
    for (const int key : collectionKeys) {
        sql += separator + std::to_string(key);
        separator = ", ";
    }
    return sql + ") AND objectType = ?";
}

} // namespace

const char* const RBACDbQueryMgr::SELECT_ACCESS_TOKEN_DETAILS = "AzTokenValue";
const char* const RBACDbQueryMgr::SELECT_ACCESS_TOKEN_DETAILS_FROM =
    " FROM AUTH_MAIN.AUTH_Access_Token_Details";

const DalOdbcView::BindingStruct RBACDbQueryMgr::collectionCriteriaBinding[] = {
    {1, "CriteriaID", Tessara::Dal::VALUE_TYPE_INT32, offsetof(CollectionCriteria, criteriaId),
     sizeof(CollectionCriteria::criteriaId)},
    {2, "CollectionKey", Tessara::Dal::VALUE_TYPE_INT32, offsetof(CollectionCriteria, collectionKey),
     sizeof(CollectionCriteria::collectionKey)},
    {3, "CriteriaJson", Tessara::Dal::VALUE_TYPE_TEXT, offsetof(CollectionCriteria, criteriaJson),
     sizeof(CollectionCriteria::criteriaJson)},
};

const DalOdbcView::BindingStruct RBACDbQueryMgr::accessTokenDetailsBinding[] = {
    {1, "AzTokenValue", Tessara::Dal::VALUE_TYPE_TEXT, offsetof(AccessTokenDetails, azTokenValue),
     sizeof(AccessTokenDetails::azTokenValue)},
};

RBACDbQueryMgr::RBACDbQueryMgr(boost::shared_ptr<RBACDbConnectionMgr> connection)
    : connection_(std::move(connection))
{
}

RBACDbQueryMgr::~RBACDbQueryMgr() = default;

int RBACDbQueryMgr::fetchAzToken(const std::string& sessionToken, std::string& azToken)
{
    diagnostics::require(connection_ != nullptr, "connection_ != nullptr");
    Query query(*connection_, TOKEN_TAG);
    if (!query.isOpen()) {
        return Status::DATABASE_UNAVAILABLE;
    }
    const std::string sql = std::string("SELECT ") + SELECT_ACCESS_TOKEN_DETAILS +
                            SELECT_ACCESS_TOKEN_DETAILS_FROM + " WHERE SessionTokenValue = ?";
    std::string sessionId;
    const int parsing = readSessionId(sessionToken, sessionId);
    if (parsing != Status::SUCCESS) {
        return parsing;
    }
    if (!query.execute(sql, sessionId.c_str(), 6, true)) {
        return Status::DATABASE_UNAVAILABLE;
    }
    AccessTokenDetails row;
    const int status = query.fetch(row, accessTokenDetailsBinding);
    if (status == Tessara::Dal::STATUS_NO_MORE_ROWS) {
        debugLog({TOKEN_TAG, FAILURE}, "session token not found in database");
        return Status::NO_AUTHORIZATION_TOKEN;
    }
    if (status != Status::SUCCESS) {
        debugLog({TOKEN_TAG, FAILURE}, "failed to fetch azToken from database, error=", status);
        return Status::DATABASE_UNAVAILABLE;
    }
    azToken = row.azTokenValue;
    return Status::SUCCESS;
}

int RBACDbQueryMgr::fetchCollectionCriteria(const std::set<int>& collectionKeys, const char* objectType,
                                            std::list<std::string>& criteria)
{
    diagnostics::require(connection_ != nullptr, "connection_ != nullptr");
    Query query(*connection_, CRITERIA_TAG);
    if (!query.isOpen() || !query.execute(criteriaStatement(collectionKeys), objectType, 5, false)) {
        return Status::DATABASE_UNAVAILABLE;
    }
    CollectionCriteria row;
    std::size_t count = 0;
    int status = query.fetch(row, collectionCriteriaBinding);
    for (; status == Status::SUCCESS; status = query.fetch(row, collectionCriteriaBinding)) {
        ++count;
        debugLog({CRITERIA_TAG, RECORD}, "collection key=", row.collectionKey);
        debugLog({CRITERIA_TAG, RECORD}, "criteria id=", row.criteriaId);
        debugLog({CRITERIA_TAG, RECORD}, "fetched collection criteria=", row.criteriaJson);
        criteria.emplace_back(row.criteriaJson);
    }
    debugLog({CRITERIA_TAG, RECORD},
             "failed to fetch collection criteria record from database, error=", status);
    debugLog({CRITERIA_TAG, SUMMARY}, "total records read from the database ", count);
    return status == Tessara::Dal::STATUS_NO_MORE_ROWS ? Status::SUCCESS : Status::DATABASE_UNAVAILABLE;
}

} // namespace Tessara::Keepsafe
