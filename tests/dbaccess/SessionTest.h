#ifndef KEEPSAFE_TESTS_DBACCESS_SESSIONTEST_H
#define KEEPSAFE_TESTS_DBACCESS_SESSIONTEST_H

#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/CapturedLog.h"
#include "support/DefaultLogger.h"
#include "support/TempDir.h"
#include "support/TokenDatabase.h"
#include "support/messages.h"
#include "tokens/TokenSigner.h"

namespace keepsafe_test {

/// An installation root with the host's public key, and a database with the tables of tokens and criteria.
class SessionTest : public testing::TestWithParam<DatabaseKind> {
protected:
    SessionTest() { writeHostKey(signer()); }

    /// The key that the host trusts. Made once: making one takes a while.
    static const keepsafe_sandbox::TokenSigner& signer()
    {
        static const auto key = keepsafe_sandbox::TokenSigner::generate();
        return key;
    }

    void writeHostKey(const keepsafe_sandbox::TokenSigner& key)
    {
        writeFile(root_.path("var/global/tssec/jwtkeys/jwtPublicKey"), key.publicKeyPem());
    }

    static std::string milliseconds(long long fromNow)
    {
        return std::to_string((static_cast<long long>(std::time(nullptr)) + fromNow) * 1000);
    }

    /// A session token of that identifier that is valid for an hour.
    static std::string sessionToken(const std::string& jti)
    {
        return signer().sign(R"({"jti":")" + jti + R"(","exp":)" + milliseconds(3600) + "}");
    }

    /// The authorization token that grants these roles, given as JSON.
    static std::string authorizationToken(const std::string& roles)
    {
        return signer().sign(R"({"roles":)" + roles + "}");
    }

    TempRoot root_;
    TokenDatabase database_{GetParam()};
};

} // namespace keepsafe_test

#endif
