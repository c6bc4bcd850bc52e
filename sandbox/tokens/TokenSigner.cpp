#include "tokens/TokenSigner.h"

#include <climits>
#include <cstddef>
#include <utility>
#include <vector>

#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "errors/InputError.h"
#include "openssl/openssl_error.h"
#include "openssl_handles.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;
using keepsafe_service::takeOpensslReason;
using keepsafe_service::throwOpensslError;
using Tessara::Keepsafe::BioHandle;
using Tessara::Keepsafe::contentOf;
using Tessara::Keepsafe::DigestContextHandle;

namespace {

std::shared_ptr<EVP_PKEY> own(EVP_PKEY* key) { return {key, EVP_PKEY_free}; }

const unsigned char* bytesOf(std::string_view text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

BioHandle growingMemory()
{
    BioHandle memory(BIO_new(BIO_s_mem()));
    if (!memory) {
        throwOpensslError("write a key");
    }
    return memory;
}

/// An encrypted key must fail, not ask for its pass phrase on the terminal.
int refusePassPhrase(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*user*/) { return -1; }

} // namespace

TokenSigner::TokenSigner(std::shared_ptr<evp_pkey_st> key) : key_(std::move(key)) {}

TokenSigner TokenSigner::generate(unsigned bits)
{
    auto key = own(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", std::size_t{bits}));
    if (!key) {
        throwOpensslError("generate an RSA key of " + std::to_string(bits) + " bits");
    }
    return TokenSigner(std::move(key));
}

TokenSigner TokenSigner::fromPrivateKeyPem(const std::string& pem)
{
    if (pem.size() > INT_MAX) {
        throw InputError("a private key of " + std::to_string(pem.size()) + " bytes is too long");
    }
    const BioHandle memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    if (!memory) {
        throwOpensslError("read a private key");
    }
    auto key = own(PEM_read_bio_PrivateKey(memory.get(), nullptr, refusePassPhrase, nullptr));
    if (!key) {
        throw InputError("not a private key in PEM form: " + takeOpensslReason());
    }
    if (EVP_PKEY_is_a(key.get(), "RSA") != 1) {
        throw InputError("not an RSA key");
    }
    return TokenSigner(std::move(key));
}

unsigned TokenSigner::keyBits() const { return static_cast<unsigned>(EVP_PKEY_get_bits(key_.get())); }

std::string TokenSigner::privateKeyPem() const
{
    const BioHandle memory = growingMemory();
    if (PEM_write_bio_PKCS8PrivateKey(memory.get(), key_.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        throwOpensslError("write a private key");
    }
    return contentOf(memory.get());
}

std::string TokenSigner::publicKeyPem() const
{
    const BioHandle memory = growingMemory();
    if (PEM_write_bio_PUBKEY(memory.get(), key_.get()) != 1) {
        throwOpensslError("write a public key");
    }
    return contentOf(memory.get());
}

std::string TokenSigner::sign(std::string_view header, std::string_view payload) const
{
    const std::string signedText = base64Url(header) + '.' + base64Url(payload);
    return signedText + '.' + base64Url(signature(signedText));
}

std::string TokenSigner::signature(std::string_view signedText) const
{
    const DigestContextHandle context(EVP_MD_CTX_new());
    std::size_t length = 0;
    const bool hasLength =
        context && EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key_.get()) == 1 &&
        EVP_DigestSign(context.get(), nullptr, &length, bytesOf(signedText), signedText.size()) == 1;
    std::vector<unsigned char> bytes(length);
    const bool isSigned = hasLength && EVP_DigestSign(context.get(), bytes.data(), &length,
                                                      bytesOf(signedText), signedText.size()) == 1;
    if (!isSigned) {
        throwOpensslError("sign a token");
    }
    return {reinterpret_cast<const char*>(bytes.data()), length};
}

std::string base64Url(std::string_view bytes)
{
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string text;
    text.reserve((bytes.size() * 4 + 2) / 3);
    unsigned pending = 0;
    unsigned pendingBits = 0;
    for (const char c : bytes) {
        pending = (pending << 8U) | static_cast<unsigned char>(c);
        for (pendingBits += 8; pendingBits >= 6;) {
            pendingBits -= 6;
            text += alphabet[(pending >> pendingBits) & 0x3FU];
        }
        pending &= 0x3FU;
    }
    if (pendingBits > 0) {
        text += alphabet[(pending << (6 - pendingBits)) & 0x3FU];
    }
    return text;
}

} // namespace keepsafe_sandbox
