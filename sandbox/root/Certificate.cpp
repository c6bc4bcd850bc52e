#include "root/Certificate.h"

#include <cstdint>

#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "errors/InputError.h"
#include "openssl/openssl_error.h"
#include "openssl_handles.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;
using keepsafe_service::takeOpensslReason;
using keepsafe_service::throwOpensslError;
using Tessara::Keepsafe::BioHandle;
using Tessara::Keepsafe::contentOf;
using Tessara::Keepsafe::OpensslRelease;
using Tessara::Keepsafe::StoreContextHandle;
using Tessara::Keepsafe::StoreHandle;

namespace {

using ExtensionHandle = std::unique_ptr<X509_EXTENSION, OpensslRelease<X509_EXTENSION_free>>;

void require(bool done, const char* attempt)
{
    if (!done) {
        throwOpensslError(attempt);
    }
}

/// Never asks on the terminal for the pass phrase of a key.
int noPassPhrase(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*data*/) { return -1; }

BioHandle reading(const std::string& text)
{
    BioHandle bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    require(bio != nullptr, "read a PEM text");
    return bio;
}

template <typename Write>
std::string written(const char* attempt, Write write)
{
    const BioHandle bio(BIO_new(BIO_s_mem()));
    require(bio != nullptr && write(bio.get()) == 1, attempt);
    return contentOf(bio.get());
}

void addExtension(X509* certificate, X509* issuer, int id, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const ExtensionHandle extension(X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str()));
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1,
            "add an extension to a certificate");
}

void setSerial(X509* certificate)
{
    std::uint64_t serial = 0;
    require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1,
            "draw a serial number");
    require(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), (serial >> 1U) | 1U) == 1,
            "set a serial number");
}

void setLifetime(X509* certificate)
{
    constexpr long clockSkewSeconds = 3600;
    require(X509_gmtime_adj(X509_getm_notBefore(certificate), -clockSkewSeconds) != nullptr &&
                X509_time_adj_ex(X509_getm_notAfter(certificate),
                                 static_cast<int>(Certificate::LIFETIME_DAYS), 0, nullptr) != nullptr,
            "set a certificate's time");
}

void begin(X509* certificate, const std::string& name, const PrivateKey& key)
{
    require(certificate != nullptr, "make a certificate");
    require(X509_set_version(certificate, X509_VERSION_3) == 1, "set a certificate's version");
    setSerial(certificate);
    setLifetime(certificate);
    require(X509_set_pubkey(certificate, key.get()) == 1, "set a certificate's key");
    require(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0) == 1,
            "set a certificate's name");
}

void finish(X509* certificate, X509* issuer, const PrivateKey& issuersKey)
{
    addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
    addExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
    require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1,
            "set a certificate's issuer");
    require(X509_sign(certificate, issuersKey.get(), EVP_sha256()) != 0, "sign a certificate");
}

std::string joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ",") + name;
    }
    return text;
}

} // namespace

PrivateKey PrivateKey::generate()
{
    PrivateKey key(EVP_EC_gen("P-256"));
    require(key.get() != nullptr, "make a key");
    return key;
}

PrivateKey PrivateKey::fromPem(const std::string& pem)
{
    PrivateKey key(PEM_read_bio_PrivateKey(reading(pem).get(), nullptr, noPassPhrase, nullptr));
    if (key.get() == nullptr) {
        throw InputError("no private key in PEM form without a pass phrase: " + takeOpensslReason());
    }
    return key;
}

std::string PrivateKey::pem() const
{
    return written("write a private key", [this](BIO* bio) {
        return PEM_write_bio_PKCS8PrivateKey(bio, key_.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
}

Certificate Certificate::issueAuthority(const std::string& name, const PrivateKey& key)
{
    Certificate made(X509_new());
    X509* const own = made.certificate_.get();
    begin(own, name, key);
    addExtension(own, own, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    addExtension(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
    finish(own, own, key);
    return made;
}

Certificate Certificate::issue(const CertificateRequest& request, const PrivateKey& key,
                               const Certificate& authority, const PrivateKey& authorityKey)
{
    Certificate made(X509_new());
    X509* const own = made.certificate_.get();
    X509* const issuer = authority.certificate_.get();
    begin(own, request.name, key);
    addExtension(own, issuer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(own, issuer, NID_key_usage, "critical,digitalSignature");
    addExtension(own, issuer, NID_ext_key_usage,
                 request.use == CertificateUse::Server ? "serverAuth" : "clientAuth");
    if (!request.alternativeNames.empty()) {
        addExtension(own, issuer, NID_subject_alt_name, joined(request.alternativeNames));
    }
    finish(own, issuer, authorityKey);
    return made;
}

Certificate Certificate::fromPem(const std::string& pem)
{
    Certificate certificate(PEM_read_bio_X509(reading(pem).get(), nullptr, noPassPhrase, nullptr));
    if (certificate.certificate_ == nullptr) {
        throw InputError("no certificate in PEM form: " + takeOpensslReason());
    }
    return certificate;
}

std::string Certificate::pem() const
{
    return written("write a certificate",
                   [this](BIO* bio) { return PEM_write_bio_X509(bio, certificate_.get()); });
}

bool Certificate::belongsTo(const PrivateKey& key) const
{
    const bool isSame = X509_check_private_key(certificate_.get(), key.get()) == 1;
    ERR_clear_error();
    return isSame;
}

/// The library's clients do not accept a common name either.
bool Certificate::isFor(const std::string& address) const
{
    return X509_check_ip_asc(certificate_.get(), address.c_str(), 0) == 1 ||
           X509_check_host(certificate_.get(), address.data(), address.size(),
                           X509_CHECK_FLAG_NEVER_CHECK_SUBJECT, nullptr) == 1;
}

std::string Certificate::faultAs(CertificateUse use, const Certificate& authority) const
{
    if (use == CertificateUse::Authority && X509_check_ca(certificate_.get()) == 0) {
        return "not a certificate that issues others";
    }
    const StoreHandle store(X509_STORE_new());
    const StoreContextHandle context(X509_STORE_CTX_new());
    require(store != nullptr && context != nullptr &&
                X509_STORE_add_cert(store.get(), authority.certificate_.get()) == 1 &&
                X509_STORE_CTX_init(context.get(), store.get(), certificate_.get(), nullptr) == 1,
            "check a certificate");
    if (use != CertificateUse::Authority) {
        require(X509_STORE_CTX_set_purpose(context.get(), use == CertificateUse::Server
                                                              ? X509_PURPOSE_SSL_SERVER
                                                              : X509_PURPOSE_SSL_CLIENT) == 1,
                "check a certificate");
    }
    const bool isGood = X509_verify_cert(context.get()) == 1;
    ERR_clear_error();
    return isGood ? "" : X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get()));
}

} // namespace keepsafe_sandbox
