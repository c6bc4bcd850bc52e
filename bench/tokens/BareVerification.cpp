// As in the library: the low-level RSA reader is a hundred times faster than the generic one.
#define OPENSSL_API_COMPAT 0x10100000L

#include "tokens/BareVerification.h"

#include <array>
#include <memory>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <keepsafe/jwt/JWTSSLApi.h>

namespace keepsafe_bench {

BareVerification::BareVerification(std::string keyFile, const std::string& token)
    : keyFile_(std::move(keyFile)), signedText_(token.substr(0, token.rfind('.')))
{
    unsigned char* decoded = nullptr;
    int length = 0;
    if (Tessara::Keepsafe::JWTSSLApi::B64DecodeURL(token.substr(token.rfind('.') + 1), decoded, length) !=
        0) {
        throw std::runtime_error("the token's signature cannot be decoded");
    }
    const std::unique_ptr<unsigned char[]> bytes(decoded);
    signature_.assign(reinterpret_cast<const char*>(decoded), static_cast<std::size_t>(length));
}

std::string BareVerification::readKeyFile() const
{
    const int file = open(keyFile_.c_str(), O_RDONLY | O_CLOEXEC);
    std::array<char, 4096> chunk;
    const ssize_t size = read(file, chunk.data(), chunk.size());
    close(file);
    return {chunk.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

bool BareVerification::once() const
{
    const std::string pem = readKeyFile();
    BIO* const text = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
    RSA* const rsaKey = PEM_read_bio_RSA_PUBKEY(text, nullptr, nullptr, nullptr);
    EVP_PKEY* const key = EVP_PKEY_new();
    EVP_PKEY_set1_RSA(key, rsaKey);
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    EVP_VerifyInit(context, EVP_sha256());
    EVP_VerifyUpdate(context, signedText_.data(), signedText_.size());
    const bool verified = EVP_VerifyFinal(context, reinterpret_cast<const unsigned char*>(signature_.data()),
                                          static_cast<unsigned int>(signature_.size()), key) == 1;
    EVP_MD_CTX_free(context);
    EVP_PKEY_free(key);
    RSA_free(rsaKey);
    BIO_free(text);
    return verified;
}

} // namespace keepsafe_bench
