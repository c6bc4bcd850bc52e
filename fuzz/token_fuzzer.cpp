// The input as a token through the whole path. The host's key is a fixed one of 512 bits, so that inputs kept
// in the corpus verify; its private half was thrown away after they were signed.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <openssl/err.h>
#include <openssl/pem.h>

#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/jwt/JWTUtil.h>
#include <keepsafe/jwt/ValidatingJwtParser.h>

#include "HostKeyFolder.h"
#include "require.h"

namespace {

using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::JWTUtil;
using Tessara::Keepsafe::ValidatingJwtParser;

constexpr char HOST_KEY[] = "-----BEGIN PUBLIC KEY-----\n"
                            "MFwwDQYJKoZIhvcNAQEBBQADSwAwSAJBANSDkv/Y76Z5C5hzPQDg7SM0rd9gByQv\n"
                            "mzQYveutYvJohVEjY3jDYqWGXzXL+hfVI2XJJPK2HwFZyd3Xb3o4jN0CAwEAAQ==\n"
                            "-----END PUBLIC KEY-----\n";

bool checkSplitting(const std::string& token, std::vector<std::string>& parts)
{
    const int status = JWTUtil::tokenizeJWT(token, parts);
    if (std::count(token.begin(), token.end(), '.') != 2) {
        require(status == 8002 && parts.empty(), "a wrong number of dots is status 8002");
        return false;
    }
    require(parts.size() == 3 && parts[0] + '.' + parts[1] + '.' + parts[2] == token,
            "the parts joined by dots are the token");
    const bool whole = !parts[0].empty() && !parts[1].empty() && !parts[2].empty();
    require(status == (whole ? 0 : 8002), "an empty part is status 8002");
    return whole;
}

/// Whether the signature is good, by other functions of OpenSSL than the library's.
bool isSigned(const std::vector<std::string>& parts)
{
    unsigned char* out = nullptr;
    int length = 0;
    if (JWTSSLApi::B64DecodeURL(parts[2], out, length) != 0) {
        return false;
    }
    const std::unique_ptr<const unsigned char[]> signature(out);
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> memory(BIO_new_mem_buf(HOST_KEY, -1), BIO_free_all);
    static const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        PEM_read_bio_PUBKEY(memory.get(), nullptr, nullptr, nullptr), EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    const std::string text = parts[0] + '.' + parts[1];
    require(EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1,
            "a verification can be set up");
    const int result =
        EVP_DigestVerify(context.get(), signature.get(), static_cast<std::size_t>(std::max(length, 0)),
                         reinterpret_cast<const unsigned char*>(text.data()), text.size());
    ERR_clear_error();
    return result == 1;
}

int checkCreation(const std::string& token, bool whole)
{
    JWT something;
    JWT* made = &something;
    const int status = JWT::createJWT(token, made);
    require((status == 0) == (made != nullptr), "an object is there exactly on status 0");
    const std::unique_ptr<const JWT> jwt(made);
    require(status == 0 || status == 7610 || status == 20 || status == 8002, "the status is a known one");
    require((status == 8002) == !whole, "only a token in pieces is status 8002");
    return status;
}

void checkParsing(const std::string& token, bool isGenuine, int creation)
{
    JWT something;
    JWT* made = &something;
    const int status = ValidatingJwtParser().parseJwt(token, made);
    require((status == 0) == (made != nullptr), "an object is there exactly on status 0");
    const std::unique_ptr<const JWT> jwt(made);
    require(isGenuine || status == 8002, "a token whose signature is not good is status 8002");
    require(!isGenuine || creation == 0 || status == creation, "a payload that cannot be read is refused");
    require(status == 0 || status == 8001 || status == 8002 || status == creation,
            "the status is a known one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const HostKeyFolder root(HOST_KEY);
    const std::string token(data, data + size);
    std::vector<std::string> parts;
    const bool whole = checkSplitting(token, parts);
    const bool isGenuine = whole && isSigned(parts);
    require(JWTSSLApi::verifyJWTSignature(token, HOST_KEY) == isGenuine, "only a good signature verifies");
    require(JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token) == isGenuine,
            "the host's key verifies as the same key given does");
    checkParsing(token, isGenuine, checkCreation(token, whole));
    require(ERR_peek_error() == 0, "the error queue is empty");
    return 0;
}
