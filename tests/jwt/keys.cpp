#include "jwt/keys.h"

#include <cstddef>
#include <ctime>
#include <memory>
#include <stdexcept>

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/encoder.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>

namespace keepsafe_test {

namespace {

template <typename T, void (*release)(T*)>
struct Release {
    void operator()(T* object) const noexcept { release(object); }
};
template <typename T, void (*release)(T*)>
using Owner = std::unique_ptr<T, Release<T, release>>;

using Key = Owner<EVP_PKEY, EVP_PKEY_free>;
using Memory = Owner<BIO, BIO_free_all>;

void requireDone(bool holds, const char* attempt)
{
    if (!holds) {
        throw std::runtime_error(std::string("cannot ") + attempt);
    }
}

std::string contentOf(BIO* memory)
{
    char* begin = nullptr;
    const long length = BIO_get_mem_data(memory, &begin);
    return {begin, static_cast<std::size_t>(length)};
}

std::string pemOf(EVP_PKEY* key)
{
    const Memory memory(BIO_new(BIO_s_mem()));
    requireDone(memory && PEM_write_bio_PUBKEY(memory.get(), key) == 1, "write a public key");
    return contentOf(memory.get());
}

Key keyOf(const std::string& pem)
{
    const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    Key key(PEM_read_bio_PUBKEY(memory.get(), nullptr, nullptr, nullptr));
    requireDone(key != nullptr, "read a public key");
    return key;
}

} // namespace

const TokenSigner& hostSigner()
{
    static const TokenSigner signer = TokenSigner::generate();
    return signer;
}

const TokenSigner& strangerSigner()
{
    static const TokenSigner signer = TokenSigner::generate();
    return signer;
}

std::string publicKeyPem(std::string_view modulus)
{
    const Owner<BIGNUM, BN_free> n(BN_bin2bn(reinterpret_cast<const unsigned char*>(modulus.data()),
                                             static_cast<int>(modulus.size()), nullptr));
    const Owner<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free> builder(OSSL_PARAM_BLD_new());
    requireDone(n && builder && OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get()) == 1 &&
                    OSSL_PARAM_BLD_push_ulong(builder.get(), OSSL_PKEY_PARAM_RSA_E, 65537) == 1,
                "describe a public key");
    const Owner<OSSL_PARAM, OSSL_PARAM_free> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const Owner<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* made = nullptr;
    requireDone(parameters && context && EVP_PKEY_fromdata_init(context.get()) == 1 &&
                    EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, parameters.get()) == 1,
                "make a public key");
    return pemOf(Key(made).get());
}

std::string asPkcs1(const std::string& publicKeyPem)
{
    const Key key = keyOf(publicKeyPem);
    const Memory memory(BIO_new(BIO_s_mem()));
    const Owner<OSSL_ENCODER_CTX, OSSL_ENCODER_CTX_free> encoder(
        OSSL_ENCODER_CTX_new_for_pkey(key.get(), EVP_PKEY_PUBLIC_KEY, "PEM", "pkcs1", nullptr));
    requireDone(memory && encoder && OSSL_ENCODER_to_bio(encoder.get(), memory.get()) == 1,
                "write a PKCS#1 key");
    return contentOf(memory.get());
}

std::string derOf(const std::string& publicKeyPem)
{
    const Key key = keyOf(publicKeyPem);
    const Memory memory(BIO_new(BIO_s_mem()));
    requireDone(memory && i2d_PUBKEY_bio(memory.get(), key.get()) == 1, "write a public key");
    return contentOf(memory.get());
}

std::string ellipticCurveKeyPem()
{
    const Key key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    requireDone(key != nullptr, "generate a key on a curve");
    return pemOf(key.get());
}

std::string unsignedToken(std::string_view payload)
{
    return base64Url(TokenSigner::RS256_HEADER) + '.' + base64Url(payload) + ".c2lnbmF0dXJl";
}

long long nowMs() { return static_cast<long long>(std::time(nullptr)) * 1000; }

} // namespace keepsafe_test
