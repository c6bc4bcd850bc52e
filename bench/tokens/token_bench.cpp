// What verifying a session token and looking its roles up costs, and what that cannot cost less than. Prints
// a table; the figures of one run belong together. `token_bench --help` lists the options.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <exception>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/dal/Dal.h>

#include "Measure.h"
#include "support/TempDir.h"
#include "support/TokenDatabase.h"
#include "tokens/BareQuery.h"
#include "tokens/BareVerification.h"
#include "tokens/TokenSigner.h"

namespace keepsafe_bench {
namespace {

using keepsafe_test::DatabaseKind;
using keepsafe_test::TokenDatabase;
using Tessara::Dal::DbConnectionManager;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::Rbac::JWTHandler;

constexpr char SESSION[] = "0f8fad5b-d9cb-469f-a165-70867728950e";
constexpr std::size_t STORED_SESSIONS = 1000;

void require(bool holds, const char* what)
{
    if (!holds) {
        throw std::runtime_error(std::string("wrong answer: ") + what);
    }
}

/// Operations in one turn of a measurement with one thread: about a millisecond, so that other programs on
/// the machine seldom fall into one turn more than into the next.
constexpr std::size_t TURN = 20;

/// As many turns as hold `count` operations in each round.
TakingTurns shortTurns(std::size_t count, int rounds)
{
    return TakingTurns(rounds * static_cast<int>(std::max<std::size_t>(count / TURN, 1)));
}

template <typename Work>
std::function<void()> times(std::size_t count, Work work)
{
    return [count, work] {
        for (std::size_t i = 0; i < count; ++i) {
            work();
        }
    };
}

void printLine(const char* what, double nanoseconds)
{
    std::printf("  %-46s %9.1f us\n", what, nanoseconds / 1000);
}

void printRatio(const char* what, double nanoseconds, double base, double atMost)
{
    std::printf("  %-46s %9.1f us  = %.2f x (at most %.2f)\n", what, nanoseconds / 1000, nanoseconds / base,
                atMost);
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

void measureVerification(const Session& session, std::size_t count, int rounds)
{
    const BareVerification bare(session.keyFile(), session.sessionToken());
    TakingTurns turns = shortTurns(count, rounds);
    const auto floor = turns.add(TURN, times(TURN, [&] { require(bare.once(), "bare verification"); }));
    const auto library = turns.add(
        TURN, times(TURN, [&] {
            require(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(session.sessionToken()), "verification");
        }));
    turns.run();
    std::printf("Verification with the host's key\n");
    printLine("key file, PEM, EVP_VerifyFinal", turns.result(floor));
    printRatio("verifyJWTSignatureUsingHostPublicKey", turns.result(library), turns.result(floor), 1.05);
}

void lookUp(DbConnectionManager& manager, const Session& session)
{
    std::set<int> roleIds;
    require(JWTHandler().getRoleIds(&manager, session.sessionToken(), roleIds) == 0 && roleIds.size() == 8,
            "getRoleIds");
}

void measureLookup(DatabaseKind kind, const Session& session, std::size_t count, int rounds)
{
    TokenDatabase database(kind);
    session.store(database);
    Tessara::Dal::DbConnectionSettings settings = database.settings();
    settings.maximumConnections = 8;
    DbConnectionManager manager(settings);
    const BareVerification bareVerification(session.keyFile(), session.sessionToken());
    const BareQuery bareQuery(settings.connectionString, settings.onConnect);

    TakingTurns turns = shortTurns(count, rounds);
    const auto verification =
        turns.add(TURN, times(TURN, [&] { require(bareVerification.once(), "bare verification"); }));
    const auto query =
        turns.add(TURN, times(TURN, [&] { require(bareQuery.once(SESSION) > 0, "bare query"); }));
    const auto lookup = turns.add(TURN, times(TURN, [&] { lookUp(manager, session); }));
    turns.run();
    TakingTurns parallelTurns(rounds); // on their own: they leave the processor's caches to others
    const auto parallel = parallelTurns.add(8 * count, [&] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back(times(count, [&] { lookUp(manager, session); }));
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    parallelTurns.run();
    std::printf("Role lookup, %s, %zu sessions stored\n", testing::PrintToString(kind).c_str(),
                STORED_SESSIONS + 1);
    const double sum = turns.result(verification) + turns.result(query);
    printLine("bare verification", turns.result(verification));
    printLine("bare query on an open connection", turns.result(query));
    printRatio("getRoleIds on a warm pool", turns.result(lookup), sum,
               kind == DatabaseKind::Sqlite ? 1.15 : 1.3);
    std::printf("  lookups per second: one thread %.0f, eight threads %.0f = %.2f x\n",
                1e9 / turns.result(lookup), 1e9 / parallelTurns.result(parallel),
                turns.result(lookup) / parallelTurns.result(parallel));
}

} // namespace
} // namespace keepsafe_bench

int main(int argc, char** argv)
try {
    CLI::App app("Measures session tokens: verification and role lookup.\nExample: token_bench --rounds 9");
    std::size_t count = 2000;
    int rounds = 9;
    app.add_option("--count", count, "Operations of each kind in a round")->check(CLI::Range(10, 1000000));
    app.add_option("--rounds", rounds, "Rounds; the median counts")->check(CLI::Range(1, 1000));
    CLI11_PARSE(app, argc, argv);
    const keepsafe_bench::Session session;
    keepsafe_bench::measureVerification(session, count, rounds);
    keepsafe_bench::measureLookup(keepsafe_test::DatabaseKind::Sqlite, session, count, rounds);
    keepsafe_bench::measureLookup(keepsafe_test::DatabaseKind::Postgres, session, count, rounds);
    return 0;
} catch (const std::exception& error) {
    (void)std::fprintf(stderr, "token_bench: %s\n", error.what());
    return 1;
}
