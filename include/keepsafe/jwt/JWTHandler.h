#ifndef KEEPSAFE_JWT_JWTHANDLER_H
#define KEEPSAFE_JWT_JWTHANDLER_H

#include <set>
#include <string>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Dal {
class DbConnectionManager;
}

namespace Tessara::Keepsafe::Rbac {

/// Turns a session token into the role ids of its owner. Stateless; made on the stack for each request. Any
/// thread. A null `connectionManager` means a private one for the duration of the call, connected as
/// configured; a process that asks often passes its own, which pools connections.
class KEEPSAFE_API JWTHandler {
public:
    /// Verifies the session token, looks its authorization token up in the database and adds the role ids of
    /// that one to `roleIds`, which the caller passes empty. Returns 0, or what `fetchAzToken` or
    /// `extractRoleIds` returned; the set must not be used then.
    [[nodiscard]] int getRoleIds(Tessara::Dal::DbConnectionManager* connectionManager,
                                 const std::string& sessionToken, std::set<int>& roleIds);

    /// The authorization token that belongs to a session token. Returns 0; 8002 or 8001 when the session
    /// token is not valid or has expired; 117 when none is stored for it; 220 when the database cannot be
    /// queried; 7610, 20 or 10 when the session token's payload cannot be read.
    [[nodiscard]] int fetchAzToken(Tessara::Dal::DbConnectionManager* connectionManager,
                                   const std::string& sessionToken, std::string& azToken);

    /// Adds the elements of the claim "roles", an array of integers, to `roleIds`. The authorization token's
    /// signature and expiry are not checked: it comes from the product's database. Of an integer beyond 32
    /// bits, the low 32 bits count. Returns 0; 8002 when "roles" is missing or holds anything else, with the
    /// ids before that already added; or 8002, 7610, 20, 10 when the token cannot be read.
    [[nodiscard]] int extractRoleIds(const std::string& azToken, std::set<int>& roleIds);
};

} // namespace Tessara::Keepsafe::Rbac

#endif
