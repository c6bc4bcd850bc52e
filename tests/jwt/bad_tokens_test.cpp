// Several hundred tokens, most of them bad and some good in a surprising way: for each one the exact status,
// what is delivered and every line of the log, on the main thread and on one with a stack of 256 KiB.

#include <ctime>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <keepsafe/platform/log/KSLogger.h>

#include "jwt/HostKeyRoot.h"
#include "jwt/bad_tokens/TokenCase.h"
#include "support/CapturedLog.h"
#include "support/SmallStackThread.h"

namespace keepsafe_test {

namespace {

/// Everything that comes out of an entry point.
struct Outcome {
    int status = -1;
    std::string delivered;
    lines::Lines logged;
    unsigned long opensslError = 0;

    friend bool operator==(const Outcome& left, const Outcome& right)
    {
        return left.status == right.status && left.delivered == right.delivered &&
               left.logged == right.logged && left.opensslError == right.opensslError;
    }
    friend void PrintTo(const Outcome& outcome, std::ostream* stream)
    {
        *stream << "status " << outcome.status << ", delivered \"" << outcome.delivered.substr(0, 200)
                << "\", OpenSSL error " << outcome.opensslError << ", lines:";
        for (const LogLine& line : outcome.logged) {
            *stream << "\n  " << line;
        }
    }
};

Outcome expectedOf(const TokenCase& wanted) { return {wanted.status, wanted.delivered, wanted.logged, 0}; }

Outcome outcomeOf(entry_point::EntryPoint entryPoint, const std::string& token)
{
    const CapturedLog log;
    const entry_point::Result result = entryPoint(token);
    return {result.status, result.delivered, lines::withoutLineNumbers(log.lines()), ERR_peek_error()};
}

/// A token about the current second is made and asked about within it.
Outcome outcomeOf(const TokenCase& wanted)
{
    if (!wanted.tokenAt) {
        return outcomeOf(wanted.entryPoint, wanted.token);
    }
    for (;;) {
        const long long now = nowMs();
        Outcome outcome = outcomeOf(wanted.entryPoint, wanted.tokenAt(now));
        if (nowMs() == now) {
            return outcome;
        }
    }
}

class BadTokensTest : public testing::Test {
protected:
    BadTokensTest() { KSLogger::s_default = &logger_; }
    ~BadTokensTest() override { KSLogger::s_default = nullptr; }

    void check(const TokenCases& cases)
    {
        for (const TokenCase& wanted : cases) {
            SCOPED_TRACE(wanted.words);
            root_.replaceKey(wanted.hostKey.empty() ? usualKey_ : wanted.hostKey);
            EXPECT_EQ(outcomeOf(wanted), expectedOf(wanted));
            Outcome onSmallStack;
            runOnSmallStack([&] { onSmallStack = outcomeOf(wanted); });
            EXPECT_EQ(onSmallStack, expectedOf(wanted)) << "on a thread with a small stack";
        }
    }

private:
    const std::string usualKey_ = hostSigner().publicKeyPem();
    HostKeyRoot root_{usualKey_};
    KSLogger logger_{1};
};

TEST_F(BadTokensTest, DotsAndParts) { check(shapeCases()); }
TEST_F(BadTokensTest, CodingOfThePayload) { check(codingCases()); }
TEST_F(BadTokensTest, HeadersSignaturesAndKeys) { check(signatureCases()); }
TEST_F(BadTokensTest, PayloadsBehindAGoodSignature) { check(payloadCases()); }
TEST_F(BadTokensTest, Claims) { check(claimCases()); }
TEST_F(BadTokensTest, Roles) { check(roleCases()); }

TEST(BadTokens, AreNamedInDifferentWordsAndMoreThanTwoHundred)
{
    std::set<std::string> words;
    std::set<std::string> tokens;
    for (const auto& group :
         {shapeCases(), codingCases(), signatureCases(), payloadCases(), claimCases(), roleCases()}) {
        for (const TokenCase& entry : group) {
            EXPECT_TRUE(words.insert(entry.words).second) << entry.words << " is there twice";
            if (entry.status != 0) {
                tokens.insert(entry.token);
            }
        }
    }
    EXPECT_GE(tokens.size(), 200U);
    RecordProperty("cases", static_cast<int>(words.size()));
    RecordProperty("bad_tokens", static_cast<int>(tokens.size()));
}

} // namespace

} // namespace keepsafe_test
