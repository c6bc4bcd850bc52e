#ifndef KEEPSAFE_SERVICE_OPENSSL_OPENSSL_HANDLES_H
#define KEEPSAFE_SERVICE_OPENSSL_OPENSSL_HANDLES_H

#include <memory>

#include <openssl/bio.h>
#include <openssl/evp.h>

/// \file
/// Owners of OpenSSL objects.

namespace keepsafe_service {

struct BioRelease {
    void operator()(BIO* bio) const noexcept { BIO_free_all(bio); }
};
using BioHandle = std::unique_ptr<BIO, BioRelease>;

struct DigestContextRelease {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};
using DigestContextHandle = std::unique_ptr<EVP_MD_CTX, DigestContextRelease>;

} // namespace keepsafe_service

#endif
