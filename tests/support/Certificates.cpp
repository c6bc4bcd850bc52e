#include "support/Certificates.h"

#include <cstdio>
#include <stdexcept>
#include <utility>

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

namespace keepsafe_test {
namespace {

template <auto function>
struct Free {
    template <typename Object>
    void operator()(Object* object) const noexcept
    {
        static_cast<void>(function(object));
    }
};
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION_free>>;
using File = std::unique_ptr<std::FILE, Free<std::fclose>>;

void requireDone(bool done, const char* what)
{
    if (!done) {
        throw std::runtime_error(std::string("certificates: ") + what);
    }
}

Key makeKey()
{
    Key key(EVP_EC_gen("P-256"));
    requireDone(key != nullptr, "no key");
    return key;
}

File create(const std::string& path, const char* mode)
{
    File file(std::fopen(path.c_str(), mode));
    requireDone(file != nullptr, path.c_str());
    return file;
}

void writeCertificate(const std::string& path, X509* certificate)
{
    requireDone(PEM_write_X509(create(path, "we").get(), certificate) == 1, "not written");
}

void writeKey(const std::string& path, EVP_PKEY* key)
{
    const File file = create(path, "we");
    requireDone(PEM_write_PrivateKey(file.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
                "not written");
}

void addExtension(X509* certificate, X509* issuer, int id, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str()));
    requireDone(extension != nullptr, value.c_str());
    requireDone(X509_add_ext(certificate, extension.get(), -1) == 1, "no extension");
}

Certificate begin(const CertificateRequest& request, EVP_PKEY* key)
{
    Certificate made(X509_new());
    requireDone(made != nullptr, "no certificate");
    std::uint64_t serial = 0;
    requireDone(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1,
                "no serial number");
    X509_set_version(made.get(), X509_VERSION_3);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(made.get()), serial >> 1U);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), request.validFromSeconds);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), request.validToSeconds);
    X509_set_pubkey(made.get(), key);
    requireDone(X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), "CN", MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char*>(request.name.c_str()), -1,
                                           -1, 0) == 1,
                "no name");
    return made;
}

void finish(X509* made, X509* issuer, EVP_PKEY* issuersKey)
{
    X509_set_issuer_name(made, X509_get_subject_name(issuer));
    requireDone(X509_sign(made, issuersKey, EVP_sha256()) != 0, "not signed");
}

void addUse(X509* made, X509* issuer, const CertificateRequest& request)
{
    addExtension(made, issuer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(made, issuer, NID_key_usage, "critical,digitalSignature");
    addExtension(made, issuer, NID_ext_key_usage, request.usage);
    if (!request.alternativeNames.empty()) {
        addExtension(made, issuer, NID_subject_alt_name, request.alternativeNames);
    }
}

CertificateFiles write(const std::string& folder, const std::string& name, X509* certificate, EVP_PKEY* key)
{
    CertificateFiles files{folder + "/" + name + ".pem", folder + "/" + name + ".key"};
    writeCertificate(files.certificate, certificate);
    writeKey(files.key, key);
    return files;
}

} // namespace

struct CertificateAuthority::Keys {
    Key key;
    Certificate certificate;
};

CertificateAuthority::CertificateAuthority(std::string folder, const std::string& name)
    : folder_(std::move(folder)), file_(folder_ + "/" + name + ".pem"), keys_(std::make_unique<Keys>())
{
    keys_->key = makeKey();
    keys_->certificate = begin({name, "", ""}, keys_->key.get());
    X509* const own = keys_->certificate.get();
    addExtension(own, own, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
    finish(own, own, keys_->key.get());
    writeCertificate(file_, own);
}

CertificateAuthority::~CertificateAuthority() = default;

CertificateFiles CertificateAuthority::issue(const CertificateRequest& request) const
{
    const Key key = makeKey();
    const Certificate made = begin(request, key.get());
    addUse(made.get(), keys_->certificate.get(), request);
    finish(made.get(), keys_->certificate.get(), keys_->key.get());
    return write(folder_, request.name, made.get(), key.get());
}

CertificateFiles CertificateAuthority::issueForServer(const std::string& name) const
{
    return issue({name, "serverAuth", "IP:127.0.0.1,IP:::1,DNS:localhost"});
}

CertificateFiles CertificateAuthority::issueForClient(const std::string& name) const
{
    return issue({name, "clientAuth", ""});
}

CertificateFiles selfSigned(const std::string& folder, const CertificateRequest& request)
{
    const Key key = makeKey();
    const Certificate made = begin(request, key.get());
    addUse(made.get(), made.get(), request);
    finish(made.get(), made.get(), key.get());
    return write(folder, request.name, made.get(), key.get());
}

void encryptKey(const std::string& from, const std::string& to, const std::string& passPhrase)
{
    const Key key(PEM_read_PrivateKey(create(from, "re").get(), nullptr, nullptr, nullptr));
    requireDone(key != nullptr, "no private key");
    const File file = create(to, "we");
    requireDone(PEM_write_PKCS8PrivateKey(file.get(), key.get(), EVP_aes_256_cbc(), passPhrase.data(),
                                          static_cast<int>(passPhrase.size()), nullptr, nullptr) == 1,
                "not written");
}

} // namespace keepsafe_test
