#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/jwt/JWTHandler.h>

#include "errors/InputError.h"
#include "root/configuration.h"
#include "root/initialize.h"
#include "root/signing_keys.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "tokens/TokenIssuer.h"

namespace {

using keepsafe_sandbox::RootLayout;
using keepsafe_sandbox::TokenRequest;
using keepsafe_sandbox::TokenStore;
using keepsafe_service::Database;
using keepsafe_service::DatabaseError;
using keepsafe_service::InputError;
using Tessara::Keepsafe::Rbac::JWTHandler;
using namespace std::chrono_literals;

class TokenStoreTest : public testing::Test {
protected:
    std::vector<std::pair<std::string, std::string>> rows()
    {
        std::vector<std::pair<std::string, std::string>> found;
        store_.forEach(
            [&](const std::string& id, const std::string& token) { found.emplace_back(id, token); });
        return found;
    }

    /// What the library makes of a session token in this root.
    static std::pair<int, std::set<int>> rolesOf(const std::string& sessionToken)
    {
        std::set<int> roleIds;
        const int status = JWTHandler().getRoleIds(nullptr, sessionToken, roleIds);
        return {status, roleIds};
    }

    keepsafe_test::TempRoot root_;
    keepsafe_test::CapturedLog log_;
    RootLayout layout_{root_.path()};
    std::vector<std::string> made_ = keepsafe_sandbox::initializeRoot(layout_);
    Database database_{keepsafe_sandbox::loadDatabaseSettings(layout_)};
    TokenStore store_{database_};
};

TEST_F(TokenStoreTest, KeepsTokensByTheirSession)
{
    store_.add("b", "token of b");
    store_.add("a", "token of a");
    EXPECT_EQ(rows(),
              (std::vector<std::pair<std::string, std::string>>{{"a", "token of a"}, {"b", "token of b"}}));
}

TEST_F(TokenStoreTest, TakesTextThatLooksLikeAStatement)
{
    const std::string odd = "'); DELETE FROM AUTH_MAIN.AUTH_Access_Token_Details; --";
    store_.add("a", "token");
    store_.add(odd, odd);
    EXPECT_EQ(rows().size(), 2U);
    EXPECT_TRUE(store_.remove(odd));
    EXPECT_EQ(rows().size(), 1U);
}

TEST_F(TokenStoreTest, RemovesOneAndTellsWhetherItWasThere)
{
    store_.add("a", "token");
    store_.add("b", "token");
    EXPECT_TRUE(store_.remove("a"));
    EXPECT_FALSE(store_.remove("a"));
    EXPECT_EQ(rows().size(), 1U);
}

TEST_F(TokenStoreTest, RefusesASecondTokenForASession)
{
    store_.add("a", "first");
    EXPECT_THROW(store_.add("a", "second"), DatabaseError);
    EXPECT_EQ(rows().front().second, "first");
}

TEST_F(TokenStoreTest, TakesAsMuchAsTheLibraryCanReadBack)
{
    const std::string longest(TokenStore::MOST_TOKEN_BYTES, 'x');
    store_.add("a", longest);
    EXPECT_EQ(rows().front().second, longest);
    EXPECT_THROW(store_.add("b", longest + "x"), InputError);
    EXPECT_EQ(rows().size(), 1U);
}

TEST_F(TokenStoreTest, TheLibraryFindsTheRolesOfAnIssuedToken)
{
    TokenRequest request;
    request.subject = "operator1:corp:ldap";
    request.roles = {17, 3};
    request.lifetime = 8h;
    const std::string token = issueToken(keepsafe_sandbox::loadSigner(layout_), store_, request);

    EXPECT_EQ(rolesOf(token), std::make_pair(0, std::set<int>{3, 17}));
    EXPECT_TRUE(store_.remove(rows().front().first));
    EXPECT_EQ(rolesOf(token).first, 117);
}

TEST_F(TokenStoreTest, TheLibraryRefusesATokenThatWasIssuedExpired)
{
    TokenRequest request;
    request.subject = "operator1:corp:ldap";
    request.roles = {0};
    request.lifetime = -1h;
    const std::string token = issueToken(keepsafe_sandbox::loadSigner(layout_), store_, request);

    EXPECT_EQ(rolesOf(token), std::make_pair(8001, std::set<int>{}));
}

TEST_F(TokenStoreTest, NothingIsStoredForATokenThatCannotBeIssued)
{
    TokenRequest request;
    request.subject = "s";
    request.lifetime = 1h;
    request.roles.assign(20000, 2147483647);
    const auto signer = keepsafe_sandbox::loadSigner(layout_);
    EXPECT_THROW((void)issueToken(signer, store_, request), InputError);
    EXPECT_TRUE(rows().empty());
}

} // namespace
