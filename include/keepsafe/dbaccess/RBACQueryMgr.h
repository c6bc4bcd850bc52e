#ifndef KEEPSAFE_DBACCESS_RBACQUERYMGR_H
#define KEEPSAFE_DBACCESS_RBACQUERYMGR_H

#include <list>
#include <set>
#include <string>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe {

/// The queries about access control that the product's database answers.
class KEEPSAFE_API RBACQueryMgr {
public:
    RBACQueryMgr() = default;
    RBACQueryMgr(const RBACQueryMgr&) = delete;
    RBACQueryMgr& operator=(const RBACQueryMgr&) = delete;
    virtual ~RBACQueryMgr();

    /// Appends the criteria, JSON documents, of the given collections for one type of object. Returns 0 or
    /// 220; rows appended before a failure remain.
    [[nodiscard]] virtual int fetchCollectionCriteria(const std::set<int>& collectionKeys,
                                                      const char* objectType,
                                                      std::list<std::string>& criteria) = 0;

    /// The authorization token that is stored for a session token. Returns 0; 8002, 8001, 7610, 20 or 10 when
    /// the session token is not valid (see `ValidatingJwtParser`); 117 when none is stored for it; 220 when
    /// the database cannot be queried.
    [[nodiscard]] virtual int fetchAzToken(const std::string& sessionToken, std::string& azToken) = 0;
};

} // namespace Tessara::Keepsafe

#endif
