#ifndef KEEPSAFE_SRC_OPENSSL_OPENSSL_HANDLES_H
#define KEEPSAFE_SRC_OPENSSL_OPENSSL_HANDLES_H

#include <cstddef>
#include <memory>
#include <string>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

/// \file
/// Owners of OpenSSL's objects.

namespace Tessara::Keepsafe {

template <auto release>
struct OpensslRelease {
    template <typename Object>
    void operator()(Object* object) const noexcept
    {
        release(object);
    }
};

/// Owns a BIO and the rest of its chain.
using BioHandle = std::unique_ptr<BIO, OpensslRelease<BIO_free_all>>;
using KeyHandle = std::unique_ptr<EVP_PKEY, OpensslRelease<EVP_PKEY_free>>;
using DigestContextHandle = std::unique_ptr<EVP_MD_CTX, OpensslRelease<EVP_MD_CTX_free>>;
using CertificateHandle = std::unique_ptr<X509, OpensslRelease<X509_free>>;
using StoreHandle = std::unique_ptr<X509_STORE, OpensslRelease<X509_STORE_free>>;
using StoreContextHandle = std::unique_ptr<X509_STORE_CTX, OpensslRelease<X509_STORE_CTX_free>>;

/// What has been written to a BIO in memory.
inline std::string contentOf(BIO* memory)
{
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory, &text);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
}

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
