// What several threads do with tokens at once; built with ThreadSanitizer it finds shared state.

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/jwt/ValidatingJwtParser.h>
#include <keepsafe/jwt/extract_subject.h>

#include "jwt/HostKeyRoot.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::ValidatingJwtParser;

constexpr int THREADS = 8;
constexpr int ROUNDS = 50;

const char PAYLOAD[] =
    R"({"sub":"alice:corp:ldap","is_machine":"false","roles":[3,17],"exp":32503680000000})";

/// Runs `work` in all threads at once; returns in how many rounds it was not true.
int failuresOf(const std::function<bool(int thread)>& work)
{
    std::atomic<int> failures{0};
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (++ready; ready < THREADS;) {
                std::this_thread::yield();
            }
            for (int round = 0; round < ROUNDS; ++round) {
                failures += work(thread) ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return failures;
}

class ParallelTest : public testing::Test {
protected:
    HostKeyRoot root_;
    CapturedLog log_{16};
    const std::string good_ = hostSigner().sign(PAYLOAD);
    const std::string bad_ = strangerSigner().sign(PAYLOAD);
};

TEST_F(ParallelTest, OneParserServesAllThreads)
{
    ValidatingJwtParser parser;
    EXPECT_EQ(failuresOf([&](int thread) {
                  const bool isGood = thread % 2 == 0;
                  JWT* made = nullptr;
                  const int status = parser.parseJwt(isGood ? good_ : bad_, made);
                  const std::unique_ptr<const JWT> jwt(made);
                  return status == (isGood ? 0 : 8002) && (jwt != nullptr) == isGood;
              }),
              0);
}

TEST_F(ParallelTest, SignaturesAreVerifiedIndependently)
{
    const std::string key = hostSigner().publicKeyPem();
    EXPECT_EQ(failuresOf([&](int thread) {
                  const bool isGood = thread % 2 == 0;
                  return JWTSSLApi::verifyJWTSignature(isGood ? good_ : bad_, key) == isGood;
              }),
              0);
}

TEST_F(ParallelTest, TheHostsKeyMayBeReplacedMeanwhile)
{
    const std::string keys[] = {strangerSigner().publicKeyPem(), hostSigner().publicKeyPem()};
    std::atomic<int> replaced{0};
    EXPECT_EQ(failuresOf([&](int thread) {
                  if (thread == 0) {
                      root_.replaceKey(keys[replaced++ % 2]);
                      return true;
                  }
                  JWT* made = nullptr;
                  const int status = ValidatingJwtParser().parseJwt(good_, made);
                  const std::unique_ptr<const JWT> jwt(made);
                  return (status == 0 || status == 8002) && (jwt != nullptr) == (status == 0);
              }),
              0);
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(good_)) << "the last key is the host's";
}

TEST_F(ParallelTest, RoleIdsAndSubjectsAreReadIndependently)
{
    EXPECT_EQ(failuresOf([&](int) {
                  std::set<int> roles;
                  char* two = nullptr;
                  char* one = nullptr;
                  char* three = nullptr;
                  const int status = Tessara::Keepsafe::Rbac::JWTHandler().extractRoleIds(good_, roles);
                  extractSubject_C(good_.c_str(), &two, &one, &three);
                  const bool same = one != nullptr && two != nullptr && three != nullptr &&
                                    std::string(one) + two + three == "alicecorpldap";
                  std::free(two);
                  std::free(one);
                  std::free(three);
                  return status == 0 && same && roles == std::set<int>{3, 17};
              }),
              0);
}

} // namespace
} // namespace keepsafe_test
