// The low-level RSA reader is an older interface; the generic decoder that replaces it takes about a hundred
// times as long.
#define OPENSSL_API_COMPAT 0x10100000L

#include <keepsafe/jwt/JWTSSLApi.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <keepsafe/jwt/JWTUtil.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "debug_messages.h"
#include "openssl_handles.h"
#include "token_parts.h"

namespace Tessara::Keepsafe {

namespace {

constexpr char VERIFY_TAG[] = "JWTSSLApi::verifyJWTSignature";
constexpr char HOST_KEY_TAG[] = "JWTSSLApi::verifyJWTSignatureUsingHostPublicKey";
/// No class has this name; log analysis looks for it.
constexpr char PUBLIC_KEY_TAG[] = "CSSLApi::getEVPPublicKey";

using RsaHandle = std::unique_ptr<RSA, OpensslRelease<RSA_free>>;

struct Signature {
    std::unique_ptr<const unsigned char[]> bytes;
    unsigned int length;
};

bool refuse(const char* reason, const char* tag = VERIFY_TAG)
{
    logmsgf(Platform::LOG_LEVEL_ERROR, tag, "%s", reason);
    return false;
}

int rejectKey(const char* reason)
{
    logmsgf(Platform::LOG_LEVEL_ERROR, PUBLIC_KEY_TAG, "%s", reason);
    return Status::PUBLIC_KEY_UNUSABLE;
}

/// A public key needs no pass phrase. Without this OpenSSL would ask the terminal or standard input for one
/// when a block claims to be encrypted.
int refusePassPhrase(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*user*/) { return -1; }

bool decodeSignature(const std::string& part, Signature& signature)
{
    unsigned char* bytes = nullptr;
    int length = 0;
    if (JWTSSLApi::B64DecodeURL(part, bytes, length) != Status::SUCCESS) {
        return false;
    }
    // Text that is not base64 decodes to a length of 0 or less; no key takes an empty signature.
    signature = {std::unique_ptr<const unsigned char[]>(bytes),
                 static_cast<unsigned int>(std::max(length, 0))};
    return true;
}

bool verifySignedData(std::string_view data, const Signature& signature, EVP_PKEY* key)
{
    const DigestContextHandle context(EVP_MD_CTX_create());
    if (!context) {
        return refuse("Failed to create context for verification of signature.");
    }
    if (EVP_VerifyInit(context.get(), EVP_sha256()) != 1) {
        return refuse("Failed to initialize signature.");
    }
    // The context is not used again, so there is no need to finish on a copy of it.
    EVP_MD_CTX_set_flags(context.get(), EVP_MD_CTX_FLAG_FINALISE);
    if (EVP_VerifyUpdate(context.get(), data.data(), data.size()) != 1) {
        return refuse("Failed to update signature.");
    }
    if (EVP_VerifyFinal(context.get(), signature.bytes.get(), signature.length, key) != 1) {
        return refuse("Failed to verify signature.");
    }
    return true;
}

} // namespace

int JWTSSLApi::getEVPPublicKey(const std::string& pem, EVP_PKEY*& key)
{
    const ErrorQueueMark errors;
    key = nullptr;
    const BioHandle text(BIO_new_mem_buf(pem.c_str(), -1));
    if (!text) {
        return rejectKey("Could not create bio memory for public key");
    }
    const RsaHandle rsaKey(PEM_read_bio_RSA_PUBKEY(text.get(), nullptr, refusePassPhrase, nullptr));
    if (!rsaKey) {
        return rejectKey("Could not read public key");
    }
    debugMessage(PUBLIC_KEY_TAG, "Create evp obj to hold our rsakey");
    KeyHandle holder(EVP_PKEY_new());
    if (!holder) {
        return rejectKey("Could not create EVP object");
    }
    if (EVP_PKEY_set1_RSA(holder.get(), rsaKey.get()) != 1) {
        return rejectKey("Could not assign RSA key to EVP object");
    }
    key = holder.release();
    return Status::SUCCESS;
}

bool JWTSSLApi::verifyJWTSignature(const std::string& token, const std::string& publicKey)
{
    const ErrorQueueMark errors;
    if (publicKey.empty()) {
        return refuse("Invalid input. 'publickey' is NULL");
    }
    TokenParts parts;
    if (splitToken(token, parts) != Status::SUCCESS) {
        return refuse("Invalid jwt token. Unable to tokenize jwt");
    }
    Signature signature{};
    if (!decodeSignature(std::string(parts.signature), signature)) {
        return refuse("Failed to decode Base64URL signature");
    }
    EVP_PKEY* made = nullptr;
    if (getEVPPublicKey(publicKey, made) != Status::SUCCESS) {
        return refuse("Failed to create EVP Key using PublicKey");
    }
    const KeyHandle key(made);
    debugMessage(VERIFY_TAG, "Extracted public key now verifying signature.");
    if (!verifySignedData(parts.signedText, signature, key.get())) {
        return false;
    }
    debugMessage(VERIFY_TAG, "Verification successful");
    return true;
}

bool JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(const std::string& token)
{
    std::string key;
    if (JWTUtil::loadJwtPublicKey(key) != Status::SUCCESS) {
        return refuse("Failed to load jwt public key", HOST_KEY_TAG);
    }
    if (key.empty()) {
        return refuse("Failed to retrieve public key from the host.", HOST_KEY_TAG);
    }
    if (!verifyJWTSignature(token, key)) {
        return refuse("Verification of JWT failed", HOST_KEY_TAG);
    }
    debugMessage(HOST_KEY_TAG, "JWT Verification successful using host public key.");
    return true;
}

} // namespace Tessara::Keepsafe
