#include <keepsafe/jwt/JWTSSLApi.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <unistd.h>

#include "jwt/ManyPrimesKey.h"
#include "jwt/expected_lines.h"
#include "jwt/keys.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::JWTSSLApi;
using testing::ElementsAre;

class SignatureTest : public testing::Test {
protected:
    ~SignatureTest() override { EXPECT_EQ(ERR_peek_error(), 0U) << "the error queue is empty"; }

    std::string token_ = hostSigner().sign(R"({"sub":"alice"})");
    std::string key_ = hostSigner().publicKeyPem();
    CapturedLog log_;
};

std::string bytesOf(const std::string& base64UrlText)
{
    unsigned char* out = nullptr;
    int length = 0;
    EXPECT_EQ(JWTSSLApi::B64DecodeURL(base64UrlText, out, length), 0);
    const std::unique_ptr<const unsigned char[]> owner(out);
    return {reinterpret_cast<const char*>(out), static_cast<std::size_t>(length)};
}

// RFC 7515 appendix A.2.
constexpr char RFC_MODULUS[] =
    "ofgWCuLjybRlzo0tZWJjNiuSfb4p4fAkd_wWJcyQoTbji9k0l8W26mPddxHmfHQp-Vaw-4qPCJrcS2mJ"
    "PMEzP1Pt0Bm4d4QlL-yRT-SFd2lZS-pCgNMsD1W_YpRPEwOWvG6b32690r2jZ47soMZo9wGzjb_7OMg0"
    "LOL-bSf63kpaSHSXndS5z5rexMdbBYUsLA9e-KXBdQOS-UTo7WTBEMa2R2CapHg665xsmtdVMTBQY4uD"
    "Zlxvb3qCo5ZwKh9kG4LT6_I5IhlJH7aGhyxXFvUK-DWNmoudF8NAco9_h9iaGNj8q2ethFkMLs91kzk2"
    "PAcDTW9gb54h4FRWyuXpoQ";
constexpr char RFC_TOKEN[] =
    "eyJhbGciOiJSUzI1NiJ9.eyJpc3MiOiJqb2UiLA0KICJleHAiOjEzMDA4MTkzODAsDQogImh0dHA6Ly9leG"
    "FtcGxlLmNvbS9pc19yb290Ijp0cnVlfQ.cC4hiUPoj9Eetdgtv3hF80EGrhuB__dzERat0XF9g2VtQgr9PJ"
    "bu3XOiZj5RZmh7AAuHIm4Bh-0Qc_lF5YKt_O8W2Fp5jujGbds9uJdbF9CUAr7t1dnZcAcQjbKBYNX4BAynR"
    "FdiuB--f_nZLgrnbyTyWzO75vRK5h6xBArLIARNPvkSjtQBMHlb1L07Qe7K0GarZRmB_eSN9383LcOLn6_d"
    "O--xi12jzDwusC-eOkHWEsqtFZESc6BfI7noOPqvhJ1phCnvWh6IeYI2w9QOYEUipUTI8np6LbgGY9Fs98r"
    "qVt5AXLIhWkWywlVmtVrBp0igcN_IoypGlUPQGe77Rw";

TEST_F(SignatureTest, TheExampleOfItsStandardVerifies)
{
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(RFC_TOKEN, publicKeyPem(bytesOf(RFC_MODULUS))));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_READ, lines::VERIFYING, lines::VERIFIED));
}

TEST_F(SignatureTest, TheExampleOfItsStandardVerifiesWithItsKeyAlone)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(RFC_TOKEN, key_));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_READ, lines::VERIFYING, lines::NOT_VERIFIED));
}

TEST_F(SignatureTest, ATokenVerifiesWithTheKeyThatSignedIt)
{
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(token_, key_));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_READ, lines::VERIFYING, lines::VERIFIED));
}

TEST_F(SignatureTest, ATokenDoesNotVerifyWithAnotherKey)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(token_, strangerSigner().publicKeyPem()));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_READ, lines::VERIFYING, lines::NOT_VERIFIED));
}

TEST_F(SignatureTest, NoKeyTextIsRefusedFirst)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature("not even a token", ""));
    EXPECT_THAT(log_.lines(),
                ElementsAre(lines::error(lines::VERIFY_TAG, "Invalid input. 'publickey' is NULL")));
}

TEST_F(SignatureTest, ATokenThatCannotBeSplitIsRefusedBeforeTheKeyIsRead)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature("a.b", "no key"));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::WRONG_DOTS, lines::NOT_SPLIT));
    log_.clear();
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature("a..c", "no key"));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::NOT_SPLIT));
}

TEST_F(SignatureTest, ASignatureOfAnImpossibleLengthIsRefusedBeforeTheKeyIsRead)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature("a.b.cdefg", "no key"));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::WRONG_LENGTH, lines::NOT_DECODED));
}

TEST_F(SignatureTest, ASignatureThatIsNotBase64DoesNotVerify)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature("a.b.!!!!", key_));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_READ, lines::VERIFYING, lines::NOT_VERIFIED));
}

TEST_F(SignatureTest, AKeyThatCannotBeReadIsRefused)
{
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(token_, "no key"));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_NOT_READ, lines::KEY_UNUSABLE));
}

TEST_F(SignatureTest, OneOtherCharacterInThePayloadIsNoticed)
{
    std::string changed = token_;
    char& character = changed[changed.find('.') + 5];
    character = character == 'x' ? 'y' : 'x';
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(changed, key_));
}

TEST_F(SignatureTest, ThePayloadPartIsSignedAsTextNotAsBytes)
{
    const std::string token = hostSigner().sign("{} ");
    ASSERT_TRUE(JWTSSLApi::verifyJWTSignature(token, key_));
    std::string padded = hostSigner().sign(R"({"a":1} )");
    padded.insert(padded.rfind('.'), "=");
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(padded, key_)) << "the same bytes, with padding";
}

TEST_F(SignatureTest, TheHeadersAlgorithmDoesNotMatter)
{
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(hostSigner().sign(R"({"alg":"HS256"})", "{}"), key_));
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(hostSigner().sign(R"({"alg":"none"})", "{}"), key_));
    const std::string text = base64Url(R"({"alg":"none"})") + "." + base64Url("{}");
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(text + ".", key_));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(text + ".AAAA", key_));
}

TEST_F(SignatureTest, AKeyOf512BitsVerifiesItsOwnTokens)
{
    const TokenSigner small = TokenSigner::generate(512);
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(small.sign("{}"), small.publicKeyPem()));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(token_, small.publicKeyPem()));
}

TEST_F(SignatureTest, AKeyOf16384BitsVerifiesItsOwnTokens)
{
    const ManyPrimesKey large(16384);
    ASSERT_EQ(large.bits(), 16384);
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(large.sign("{}"), large.publicKeyPem()));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(token_, large.publicKeyPem()));
}

TEST_F(SignatureTest, AKeyBeyondOpensslsLimitVerifiesNothing)
{
    const ManyPrimesKey tooLarge(16392);
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(tooLarge.sign("{}"), tooLarge.publicKeyPem()));
    EXPECT_THAT(log_.lines(), ElementsAre(lines::KEY_READ, lines::VERIFYING, lines::NOT_VERIFIED));
}

TEST_F(SignatureTest, ErrorsThatACallerLeftInTheQueueSurviveAFailure)
{
    ERR_raise(ERR_LIB_USER, 42);
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(token_, strangerSigner().publicKeyPem()));
    EXPECT_FALSE(JWTSSLApi::verifyJWTSignature(token_, "no key"));
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
}

TEST_F(SignatureTest, ErrorsThatACallerLeftInTheQueueSurviveASuccess)
{
    ERR_raise(ERR_LIB_USER, 42);
    EXPECT_TRUE(JWTSSLApi::verifyJWTSignature(token_, key_));
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
}

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

class PublicKeyTest : public testing::Test {
protected:
    ~PublicKeyTest() override { EXPECT_EQ(ERR_peek_error(), 0U) << "the error queue is empty"; }

    void expectRefused(const std::string& pem)
    {
        const CapturedLog log;
        const Key something(EVP_PKEY_new(), EVP_PKEY_free);
        EVP_PKEY* key = something.get();
        EXPECT_EQ(JWTSSLApi::getEVPPublicKey(pem, key), 8007) << pem;
        EXPECT_EQ(key, nullptr) << pem;
        EXPECT_THAT(log.lines(), ElementsAre(lines::KEY_NOT_READ)) << pem;
    }

    std::string pem_ = hostSigner().publicKeyPem();
};

TEST_F(PublicKeyTest, AKeyInItsBlockIsTheCallers)
{
    const CapturedLog log;
    EVP_PKEY* made = nullptr;
    ASSERT_EQ(JWTSSLApi::getEVPPublicKey(pem_, made), 0);
    const Key key(made, EVP_PKEY_free);
    EXPECT_EQ(EVP_PKEY_get_bits(key.get()), 2048);
    EXPECT_THAT(log.lines(), ElementsAre(lines::KEY_READ));
}

TEST_F(PublicKeyTest, TextAroundTheBlockDoesNotMatter)
{
    EVP_PKEY* made = nullptr;
    ASSERT_EQ(JWTSSLApi::getEVPPublicKey("The host's key:\n" + pem_ + "and no other\n", made), 0);
    EVP_PKEY_free(made);
}

TEST_F(PublicKeyTest, ATextWithoutTheBlockIs8007)
{
    expectRefused("");
    expectRefused("no key");
    expectRefused("-----BEGIN PUBLIC KEY-----\n-----END PUBLIC KEY-----\n");
    expectRefused(std::string(1, '\0') + pem_);
}

TEST_F(PublicKeyTest, ACutBlockIs8007)
{
    for (const std::size_t size : {std::size_t{30}, pem_.size() / 2, pem_.size() - 30}) {
        expectRefused(pem_.substr(0, size));
    }
}

TEST_F(PublicKeyTest, AnOlderBlockIs8007) { expectRefused(asPkcs1(pem_)); }

TEST_F(PublicKeyTest, AKeyOnACurveIs8007) { expectRefused(ellipticCurveKeyPem()); }

TEST_F(PublicKeyTest, APrivateKeyIs8007) { expectRefused(hostSigner().privateKeyPem()); }

TEST_F(PublicKeyTest, OfSeveralBlocksTheFirstPublicKeyCounts)
{
    for (const std::string& first : {asPkcs1(pem_), hostSigner().privateKeyPem()}) {
        EVP_PKEY* made = nullptr;
        ASSERT_EQ(JWTSSLApi::getEVPPublicKey(first + pem_, made), 0);
        EVP_PKEY_free(made);
    }
    expectRefused(ellipticCurveKeyPem() + pem_);
}

/// The block with headers that call it encrypted.
std::string encrypted(std::string pem)
{
    const std::string begin = "-----BEGIN PUBLIC KEY-----\n";
    pem.insert(begin.size(), "Proc-Type: 4,ENCRYPTED\n"
                             "DEK-Info: AES-128-CBC,00112233445566778899AABBCCDDEEFF\n\n");
    return pem;
}

TEST_F(PublicKeyTest, AnEncryptedBlockIs8007) { expectRefused(encrypted(pem_)); }

/// Ends a child process that has no terminal: with 0 when a key that seems encrypted leaves standard input
/// alone.
[[noreturn]] void readEncryptedKeyBesideInput(const std::string& pem)
{
    constexpr char LINE[] = "a line for somebody else\n";
    constexpr ssize_t LENGTH = sizeof LINE - 1;
    int ends[2];
    const bool prepared = setsid() != -1 && pipe(ends) == 0 && dup2(ends[0], STDIN_FILENO) != -1 &&
                          write(ends[1], LINE, LENGTH) == LENGTH && close(ends[1]) == 0;
    const CapturedLog log;
    EVP_PKEY* key = nullptr;
    const bool refused = prepared && JWTSSLApi::getEVPPublicKey(pem, key) == 8007;
    char rest[2 * sizeof LINE];
    const bool leftAlone = read(STDIN_FILENO, rest, sizeof rest) == LENGTH;
    std::cerr << (leftAlone ? "the line is left" : "the line was taken") << '\n';
    std::_Exit(refused && leftAlone ? 0 : 1);
}

TEST_F(PublicKeyTest, NobodyIsAskedForAPassPhrase)
{
    EXPECT_EXIT(readEncryptedKeyBesideInput(encrypted(pem_)), testing::ExitedWithCode(0),
                "^the line is left\n$");
}

} // namespace
} // namespace keepsafe_test
