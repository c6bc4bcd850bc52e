#ifndef KEEPSAFE_DBACCESS_RBACDBQUERYMGR_H
#define KEEPSAFE_DBACCESS_RBACDBQUERYMGR_H

#include <list>
#include <set>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/dbaccess/RBACDbConnectionMgr.h>
#include <keepsafe/dbaccess/RBACQueryMgr.h>
#include <keepsafe/platform/dal/Dal.h>
#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe {

/// The queries, run against the tables of the schema AUTH_MAIN. Holds no mutable state; any thread, each
/// query on its own connection, which is returned afterwards.
///
/// What fits: an authorization token of 32,000 bytes, a criteria document of 32,767 bytes. A longer one gives
/// 220, never a part of it.
class KEEPSAFE_API RBACDbQueryMgr : public RBACQueryMgr {
public:
    /// `connection` must not be empty.
    explicit RBACDbQueryMgr(boost::shared_ptr<RBACDbConnectionMgr> connection);
    ~RBACDbQueryMgr() override;

    [[nodiscard]] int fetchCollectionCriteria(const std::set<int>& collectionKeys, const char* objectType,
                                              std::list<std::string>& criteria) override;
    [[nodiscard]] int fetchAzToken(const std::string& sessionToken, std::string& azToken) override;

    static const char* const SELECT_ACCESS_TOKEN_DETAILS;
    static const char* const SELECT_ACCESS_TOKEN_DETAILS_FROM;

    /// A row of the criteria query: criteria id, collection key, document.
    static const Tessara::Dal::DalOdbcView::BindingStruct collectionCriteriaBinding[3];
    /// A row of the token query: the authorization token.
    static const Tessara::Dal::DalOdbcView::BindingStruct accessTokenDetailsBinding[1];

private:
    boost::shared_ptr<RBACDbConnectionMgr> connection_;
};

} // namespace Tessara::Keepsafe

#endif
