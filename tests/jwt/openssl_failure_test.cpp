// What happens when OpenSSL or memory fails. This program stands in for the functions that the library calls:
// each of them passes the call on, unless a test lets it fail.

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <utility>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/jwt/ValidatingJwtParser.h>
#include <keepsafe/jwt/extract_subject.h>

#include "jwt/HostKeyRoot.h"
#include "jwt/expected_lines.h"
#include "support/CapturedLog.h"

namespace {

/// The function that fails now, by name.
std::string failing;

/// Whether a call is to fail: only the library's own calls are, not those that OpenSSL makes itself.
bool fails(const char* function, const void* caller)
{
    Dl_info place{};
    return failing == function && dladdr(caller, &place) != 0 &&
           std::string(place.dli_fname).find("libkeepsafe-rbac") != std::string::npos;
}

/// Lets a function fail while it lives.
class Failure {
public:
    explicit Failure(const char* function) { failing = function; }
    ~Failure() { failing.clear(); }
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;
};

template <typename Function>
Function next(const char* name)
{
    auto* const function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    if (function == nullptr) {
        std::abort();
    }
    return function;
}

} // namespace

extern "C" {

BIO* BIO_new(const BIO_METHOD* type)
{
    return fails("BIO_new", __builtin_return_address(0)) ? nullptr
                                                         : next<decltype(&BIO_new)>("BIO_new")(type);
}

BIO* BIO_new_mem_buf(const void* bytes, int length)
{
    return fails("BIO_new_mem_buf", __builtin_return_address(0))
               ? nullptr
               : next<decltype(&BIO_new_mem_buf)>("BIO_new_mem_buf")(bytes, length);
}

long BIO_ctrl(BIO* bio, int command, long number, void* pointer)
{
    const bool isFlush = command == BIO_CTRL_FLUSH && fails("BIO_flush", __builtin_return_address(0));
    const bool isBuffer =
        command == BIO_C_GET_BUF_MEM_PTR && fails("BIO_get_mem_ptr", __builtin_return_address(0));
    return isFlush || isBuffer ? 0 : next<decltype(&BIO_ctrl)>("BIO_ctrl")(bio, command, number, pointer);
}

EVP_PKEY* EVP_PKEY_new()
{
    return fails("EVP_PKEY_new", __builtin_return_address(0))
               ? nullptr
               : next<decltype(&EVP_PKEY_new)>("EVP_PKEY_new")();
}

int EVP_PKEY_set1_RSA(EVP_PKEY* key, struct rsa_st* rsaKey)
{
    using Function = int (*)(EVP_PKEY*, struct rsa_st*);
    return fails("EVP_PKEY_set1_RSA", __builtin_return_address(0))
               ? 0
               : next<Function>("EVP_PKEY_set1_RSA")(key, rsaKey);
}

EVP_MD_CTX* EVP_MD_CTX_new()
{
    return fails("EVP_MD_CTX_new", __builtin_return_address(0))
               ? nullptr
               : next<decltype(&EVP_MD_CTX_new)>("EVP_MD_CTX_new")();
}

int EVP_DigestInit(EVP_MD_CTX* context, const EVP_MD* type)
{
    return fails("EVP_DigestInit", __builtin_return_address(0))
               ? 0
               : next<decltype(&EVP_DigestInit)>("EVP_DigestInit")(context, type);
}

int EVP_DigestUpdate(EVP_MD_CTX* context, const void* bytes, std::size_t length)
{
    return fails("EVP_DigestUpdate", __builtin_return_address(0))
               ? 0
               : next<decltype(&EVP_DigestUpdate)>("EVP_DigestUpdate")(context, bytes, length);
}

int EVP_VerifyFinal(EVP_MD_CTX* context, const unsigned char* signature, unsigned int length, EVP_PKEY* key)
{
    // As for a key of a type that cannot verify: an error, not a mismatch.
    return fails("EVP_VerifyFinal", __builtin_return_address(0))
               ? -1
               : next<decltype(&EVP_VerifyFinal)>("EVP_VerifyFinal")(context, signature, length, key);
}

} // extern "C"

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    if (fails("new[]", __builtin_return_address(0))) {
        return nullptr;
    }
    try {
        return operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace keepsafe_test {
namespace {

using lines::Lines;
using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::ValidatingJwtParser;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const auto URL_NOT_DECODED = lines::error("JWTSSLApi::B64DecodeURL", "Failure to decode base64URL string");
const auto NO_BUFFER = lines::error("JWTSSL::B64Decode", "Failed to allocate memory to outbuff.");

class OpensslFailureTest : public testing::Test {
protected:
    ~OpensslFailureTest() override { EXPECT_EQ(ERR_peek_error(), 0U); }

    static int encode(std::string& out)
    {
        return JWTSSLApi::B64Encode(reinterpret_cast<const unsigned char*>("foo"), 3, out);
    }

    /// The status of a decoder that fails.
    static int failedDecoding(int (*decode)(const std::string&, unsigned char*&, int&))
    {
        unsigned char something = 0;
        unsigned char* out = &something;
        int length = -7;
        const int status = decode("Zm9v", out, length);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(length, -7);
        return status;
    }

    HostKeyRoot root_;
    const std::string token_ = hostSigner().sign(R"({"sub":"a","exp":32503680000000})");
    const std::string key_ = hostSigner().publicKeyPem();
    CapturedLog log_;
};

TEST_F(OpensslFailureTest, WithoutAFailureEverythingPassesThrough)
{
    std::string text;
    EXPECT_EQ(encode(text), 0);
    EXPECT_EQ(text, "Zm9v");
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token_));
    EXPECT_THAT(log_.lines(), ElementsAreArray(lines::verified()));
}

TEST_F(OpensslFailureTest, AnEncoderThatCannotBeMadeIs10WithoutAMessage)
{
    for (const char* function : {"BIO_new", "BIO_get_mem_ptr"}) {
        const Failure failure(function);
        std::string text = "as it was";
        EXPECT_EQ(encode(text), 10) << function;
        EXPECT_EQ(text, "as it was") << function;
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(OpensslFailureTest, AnEncoderThatCannotBeFlushedIs10)
{
    const Failure failure("BIO_flush");
    std::string text = "as it was";
    EXPECT_EQ(encode(text), 10);
    EXPECT_EQ(text, "as it was");
    EXPECT_THAT(log_.lines(),
                ElementsAre(lines::error("JWTSSL::B64Encode", "Could not write data to be encoded")));
}

TEST_F(OpensslFailureTest, ADecoderThatCannotBeMadeIs10WithoutAMessageOfItsOwn)
{
    for (const char* function : {"BIO_new", "BIO_new_mem_buf"}) {
        const Failure failure(function);
        EXPECT_EQ(failedDecoding(JWTSSLApi::B64Decode), 10) << function;
        EXPECT_THAT(log_.lines(), IsEmpty()) << function;
        EXPECT_EQ(failedDecoding(JWTSSLApi::B64DecodeURL), 10) << function;
        EXPECT_THAT(log_.lines(), ElementsAre(URL_NOT_DECODED)) << function;
        log_.clear();
    }
}

TEST_F(OpensslFailureTest, ADecoderWithoutMemoryIs10)
{
    const Failure failure("new[]");
    EXPECT_EQ(failedDecoding(JWTSSLApi::B64Decode), 10);
    EXPECT_EQ(failedDecoding(JWTSSLApi::B64DecodeURL), 10);
    EXPECT_THAT(log_.lines(), ElementsAre(NO_BUFFER, NO_BUFFER, URL_NOT_DECODED));
}

TEST_F(OpensslFailureTest, ATokenWhosePayloadCannotBeDecodedIs10)
{
    const Failure failure("BIO_new");
    JWT something;
    JWT* made = &something;
    EXPECT_EQ(JWT::createJWT(token_, made), 10);
    EXPECT_EQ(made, nullptr);
    bool isMachine = true;
    EXPECT_EQ(JWT::isMachineCheck(token_, isMachine), 10);
    EXPECT_FALSE(isMachine);
    EXPECT_EQ(JWT::extractSubject(token_), nullptr);
    EXPECT_THAT(log_.lines(),
                ElementsAre(URL_NOT_DECODED, URL_NOT_DECODED,
                            lines::error("isMachineCheck", "failed to create JWT"), URL_NOT_DECODED,
                            lines::error("extractSubject", "failed to create JWT")));
}

TEST_F(OpensslFailureTest, RoleIdsThatCannotBeDecodedAre10)
{
    const Failure failure("new[]");
    std::set<int> roles;
    EXPECT_EQ(Tessara::Keepsafe::Rbac::JWTHandler().extractRoleIds(token_, roles), 10);
    EXPECT_THAT(log_.lines(),
                ElementsAre(NO_BUFFER, URL_NOT_DECODED,
                            lines::error(lines::EXTRACT_TAG, "Failed to create JWT, error=10")));
}

TEST_F(OpensslFailureTest, ASubjectThatCannotBeDecodedIsNotDelivered)
{
    const Failure failure("BIO_new");
    char* outputs[3] = {nullptr, nullptr, nullptr};
    extractSubject_C(token_.c_str(), &outputs[0], &outputs[1], &outputs[2]);
    EXPECT_THAT(outputs, ElementsAre(nullptr, nullptr, nullptr));
}

/// A step of reading the public key, and what is said when it fails.
const std::pair<const char*, Lines> KEY_STEPS[] = {
    {"BIO_new_mem_buf", {lines::error(lines::PUBLIC_KEY_TAG, "Could not create bio memory for public key")}},
    {"EVP_PKEY_new", {lines::KEY_READ, lines::error(lines::PUBLIC_KEY_TAG, "Could not create EVP object")}},
    {"EVP_PKEY_set1_RSA",
     {lines::KEY_READ, lines::error(lines::PUBLIC_KEY_TAG, "Could not assign RSA key to EVP object")}}};

TEST_F(OpensslFailureTest, AKeyThatCannotBeMadeIs8007)
{
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> something(EVP_PKEY_new(), EVP_PKEY_free);
    for (const auto& [function, expected] : KEY_STEPS) {
        const Failure failure(function);
        EVP_PKEY* key = something.get();
        EXPECT_EQ(JWTSSLApi::getEVPPublicKey(key_, key), 8007) << function;
        EXPECT_EQ(key, nullptr) << function;
        EXPECT_THAT(log_.lines(), ElementsAreArray(expected)) << function;
        log_.clear();
    }
}

/// A step of verification, and what is said from the key on when it fails.
const std::pair<const char*, Lines> VERIFICATION_STEPS[] = {
    {"EVP_PKEY_new",
     {lines::KEY_READ, lines::error(lines::PUBLIC_KEY_TAG, "Could not create EVP object"),
      lines::KEY_UNUSABLE}},
    {"EVP_MD_CTX_new",
     {lines::KEY_READ, lines::VERIFYING,
      lines::error(lines::VERIFY_TAG, "Failed to create context for verification of signature.")}},
    {"EVP_DigestInit",
     {lines::KEY_READ, lines::VERIFYING, lines::error(lines::VERIFY_TAG, "Failed to initialize signature.")}},
    {"EVP_DigestUpdate",
     {lines::KEY_READ, lines::VERIFYING, lines::error(lines::VERIFY_TAG, "Failed to update signature.")}},
    {"EVP_VerifyFinal", {lines::KEY_READ, lines::VERIFYING, lines::NOT_VERIFIED}},
    {"BIO_new", {URL_NOT_DECODED, lines::NOT_DECODED}},
    {"new[]", {NO_BUFFER, URL_NOT_DECODED, lines::NOT_DECODED}}};

TEST_F(OpensslFailureTest, AVerificationThatFailsAtAnyStepVerifiesNothing)
{
    for (const auto& [function, expected] : VERIFICATION_STEPS) {
        const Failure failure(function);
        EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(token_, key_)) << function;
        EXPECT_THAT(log_.lines(), ElementsAreArray(expected)) << function;
        log_.clear();
    }
}

TEST_F(OpensslFailureTest, AGoodTokenIsRefusedWhenItsVerificationFails)
{
    for (const auto& [function, expected] : VERIFICATION_STEPS) {
        const Failure failure(function);
        JWT something;
        JWT* made = &something;
        EXPECT_EQ(ValidatingJwtParser().parseJwt(token_, made), 8002) << function;
        EXPECT_EQ(made, nullptr) << function;
        EXPECT_THAT(log_.lines(), ElementsAreArray(lines::notVerified(expected))) << function;
        log_.clear();
    }
}

} // namespace
} // namespace keepsafe_test
