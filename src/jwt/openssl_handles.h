#ifndef KEEPSAFE_JWT_OPENSSL_HANDLES_H
#define KEEPSAFE_JWT_OPENSSL_HANDLES_H

#include <memory>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>

namespace Tessara::Keepsafe {

struct BioChainRelease {
    void operator()(BIO* chain) const noexcept { BIO_free_all(chain); }
};
/// Owns a BIO and the rest of its chain.
using BioHandle = std::unique_ptr<BIO, BioChainRelease>;

struct KeyRelease {
    void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
};
using KeyHandle = std::unique_ptr<EVP_PKEY, KeyRelease>;

struct DigestContextRelease {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};
using DigestContextHandle = std::unique_ptr<EVP_MD_CTX, DigestContextRelease>;

/// Removes the errors that OpenSSL queues for this thread during its lifetime, so that the caller's own use
/// of OpenSSL does not find them. Earlier errors remain.
class ErrorQueueMark {
public:
    ErrorQueueMark() noexcept { ERR_set_mark(); }
    ~ErrorQueueMark() { ERR_pop_to_mark(); }
    ErrorQueueMark(const ErrorQueueMark&) = delete;
    ErrorQueueMark& operator=(const ErrorQueueMark&) = delete;
};

} // namespace Tessara::Keepsafe

#endif
