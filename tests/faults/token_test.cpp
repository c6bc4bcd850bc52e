// Calls of the system and of ODBC fail while the roles of a session token are looked up.

#include <ctime>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/platform/dal/Dal.h>

#include "faults/FaultRuns.h"
#include "support/TempDir.h"
#include "support/TokenDatabase.h"
#include "tokens/TokenSigner.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::TokenSigner;
using Tessara::Keepsafe::Rbac::JWTHandler;

/// A root with the host's key, and a database with one session. Made once, and only read.
struct Login {
    Login()
    {
        writeFile(root.path("var/global/tssec/jwtkeys/jwtPublicKey"), signer.publicKeyPem());
        database.storeToken("session-1", signer.sign(R"({"roles":[3,17,42]})"));
    }

    [[nodiscard]] std::string sessionToken(const std::string& jti) const
    {
        const std::string inAnHour =
            std::to_string((static_cast<long long>(std::time(nullptr)) + 3600) * 1000);
        return signer.sign(R"({"jti":")" + jti + R"(","exp":)" + inAnHour + "}");
    }

    TempRoot root;
    TokenSigner signer = TokenSigner::generate();
    TokenDatabase database{DatabaseKind::Sqlite};
};

/// Of a session that there is, and of one that there is not; the first one connects to the database.
class Lookup : public Scenario {
public:
    explicit Lookup(const Login& login)
        : known_(login.sessionToken("session-1")), unknown_(login.sessionToken("session-2")),
          manager_(login.database.settings())
    {
    }

    Result work() override
    {
        std::set<int> roles;
        const int status = JWTHandler().getRoleIds(&manager_, known_, roles);
        if (status == 0 && roles != std::set<int>{3, 17, 42}) {
            return Result::Wrong;
        }
        std::set<int> noRoles;
        if (JWTHandler().getRoleIds(&manager_, unknown_, noRoles) == 0 || !noRoles.empty()) {
            return Result::Wrong;
        }
        return status == 0 ? Result::Right : Result::Refused;
    }

private:
    std::string known_;
    std::string unknown_;
    Tessara::Dal::DbConnectionManager manager_;
};

TEST(FaultsInATokenLookup, NeverGiveRolesAndAlwaysTell)
{
    const Login login;
    expectSoundUnderFaults(
        {[&login](const std::string& /*folder*/) { return std::make_unique<Lookup>(login); },
         [](const std::string& /*folder*/, Result /*result*/) { return std::string(); }});
}

} // namespace
} // namespace keepsafe_test
