#ifndef KEEPSAFE_JWT_JWTHANDLER_H
#define KEEPSAFE_JWT_JWTHANDLER_H

#include <set>
#include <string>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Dal {
class DbConnectionManager;
}

namespace Tessara::Keepsafe::Rbac {

/// From a session token to the role ids of its owner. Holds nothing; made on the stack for each request. Any
/// thread. A null `connectionManager` means a private one for the time of the call, connected as the
/// configuration says; a process that asks often passes its own, which pools connections.
class KEEPSAFE_API JWTHandler {
public:
    /// Verifies the session token, looks its authorization token up in the database and adds the role ids of
    /// that one to `roleIds`, which the caller passes empty. Returns 0, or what `fetchAzToken` or
    /// `extractRoleIds` returned; the set must not be used then.
    [[nodiscard]] int getRoleIds(Tessara::Dal::DbConnectionManager* connectionManager,
                                 const std::string& sessionToken, std::set<int>& roleIds);

    /// The authorization token that belongs to a session token. Returns 0; 8002 or 8001 when the session
    /// token is not valid or has expired; 117 when none is stored for it; 220 when the database cannot be
    /// asked; 7610, 20 or 10 when the session token's payload cannot be read.
    [[nodiscard]] int fetchAzToken(Tessara::Dal::DbConnectionManager* connectionManager,
                                   const std::string& sessionToken, std::string& azToken);

    /// Adds the elements of the claim "roles", an array of integers, to `roleIds`. The authorization token's
    /// signature and expiry are not looked at: it comes from the product's database. An integer beyond 32
    /// bits counts by its low 32 bits. Returns 0; 8002 when "roles" is missing or holds anything else, with
    /// the ids before that already added; or 8002, 7610, 20, 10 when the token cannot be read.
    [[nodiscard]] int extractRoleIds(const std::string& azToken, std::set<int>& roleIds);
};

} // namespace Tessara::Keepsafe::Rbac

#endif
