// Verification of a session token and lookup of its roles, beside OpenSSL and ODBC alone.

#include <cstddef>
#include <ctime>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/dal/Dal.h>

#include "support/TempDir.h"
#include "support/TokenDatabase.h"
#include "tokens/BareQuery.h"
#include "tokens/BareVerification.h"
#include "tokens/TokenSigner.h"
#include "workloads.h"

namespace keepsafe_bench {
namespace {

using keepsafe_test::DatabaseKind;
using keepsafe_test::TokenDatabase;
using Tessara::Dal::DbConnectionManager;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::Rbac::JWTHandler;

constexpr char SESSION[] = "0f8fad5b-d9cb-469f-a165-70867728950e";
constexpr std::size_t STORED_SESSIONS = 1000;

/// Operations in one turn of a measurement with one thread: about a millisecond, so that other programs on
/// the machine rarely disturb one turn more than the next.
constexpr std::size_t TURN = 20;

/// Enough turns for the calls of all rounds.
Turns shortTurns(const Settings& settings)
{
    return Turns(settings.rounds * static_cast<int>(settings.calls / TURN));
}

/// A session token, the host's key file and the authorization token that is stored for it.
class Session {
public:
    Session()
    {
        keepsafe_test::writeFile(keyFile(), signer_.publicKeyPem());
        const auto expiry = std::to_string((static_cast<long long>(std::time(nullptr)) + 86400) * 1000);
        sessionToken_ = signer_.sign(R"({"jti":")" + std::string(SESSION) +
                                     R"(","sub":"operator1:corp:ldap","exp":)" + expiry + "}");
        authorizationToken_ = signer_.sign(
            R"({"sub":"operator1:corp:ldap","roles":[3,17,19,23,42,57,101,180],"exp":)" + expiry + "}");
    }

    [[nodiscard]] std::string keyFile() const { return root_.path("var/global/tssec/jwtkeys/jwtPublicKey"); }
    [[nodiscard]] const std::string& sessionToken() const { return sessionToken_; }

    /// Puts the authorization token among others.
    void store(TokenDatabase& database) const
    {
        for (std::size_t i = 0; i < STORED_SESSIONS; ++i) {
            database.storeToken("other-session-" + std::to_string(i), authorizationToken_);
        }
        database.storeToken(SESSION, authorizationToken_);
        database.indexTokens();
    }

private:
    keepsafe_test::TempRoot root_;
    keepsafe_sandbox::TokenSigner signer_ = keepsafe_sandbox::TokenSigner::generate();
    std::string sessionToken_;
    std::string authorizationToken_;
};

void measureVerification(const Session& session, const Settings& settings, Report& report)
{
    const BareVerification bare(session.keyFile(), session.sessionToken());
    Turns turns = shortTurns(settings);
    const auto floor =
        turns.add(TURN, times(TURN, [&] { require(bare.once(), "bare verification succeeds"); }));
    const auto library =
        turns.add(TURN, times(TURN, [&] {
                      require(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(session.sessionToken()),
                              "verification succeeds");
                  }));
    turns.run();
    const Figures verification = turns.figures(library);
    report.line("token/verify", verification, turns.figures(floor));
    report.goal("token/verify / bare", verification.median / turns.figures(floor).median,
                Report::Bound::AtMost, 1.05, "");
}

void lookUp(DbConnectionManager& manager, const Session& session)
{
    std::set<int> roleIds;
    require(JWTHandler().getRoleIds(&manager, session.sessionToken(), roleIds) == 0 && roleIds.size() == 8,
            "getRoleIds finds the roles");
}

void measureLookup(DatabaseKind kind, const Session& session, const Settings& settings, Report& report)
{
    constexpr unsigned THREADS = 8;
    TokenDatabase database(kind);
    session.store(database);
    Tessara::Dal::DbConnectionSettings connections = database.settings();
    connections.maximumConnections = THREADS;
    DbConnectionManager manager(connections);
    const BareVerification bareVerification(session.keyFile(), session.sessionToken());
    const BareQuery bareQuery(connections.connectionString, connections.onConnect);

    Turns turns = shortTurns(settings);
    const auto floor = turns.add(TURN, times(TURN, [&] {
                                     require(bareVerification.once() && bareQuery.once(SESSION) > 0,
                                             "bare verification and query succeed");
                                 }));
    const auto query = turns.add(
        TURN, times(TURN, [&] { require(bareQuery.once(SESSION) > 0, "the bare query succeeds"); }));
    const auto lookup = turns.add(TURN, times(TURN, [&] { lookUp(manager, session); }));
    turns.run();
    Turns parallelTurns(settings.rounds); // separate: they push others out of the processor's caches
    const auto parallel = parallelTurns.add(THREADS * settings.calls, [&] {
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < THREADS; ++i) {
            threads.emplace_back(times(settings.calls, [&] { lookUp(manager, session); }));
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    parallelTurns.run();
    const std::string on = ", " + testing::PrintToString(kind);
    report.line("token/bare query" + on, turns.figures(query));
    report.line("token/getRoleIds" + on, turns.figures(lookup), turns.figures(floor));
    report.line("token/getRoleIds, eight threads" + on, parallelTurns.figures(parallel));
    report.goal("token/getRoleIds / bare" + on, turns.figures(lookup).median / turns.figures(floor).median,
                Report::Bound::AtMost, kind == DatabaseKind::Sqlite ? 1.15 : 1.3, "");
}

} // namespace

void measureTokens(const Settings& settings, Report& report)
{
    const Session session;
    measureVerification(session, settings, report);
    measureLookup(DatabaseKind::Sqlite, session, settings, report);
    measureLookup(DatabaseKind::Postgres, session, settings, report);
}

} // namespace keepsafe_bench
