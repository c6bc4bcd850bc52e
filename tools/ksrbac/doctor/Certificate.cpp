#include "doctor/Certificate.h"

#include <cstddef>
#include <memory>

#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "output/utc_time.h"
#include "token/expiry.h"

namespace ksrbac {

using Tessara::Keepsafe::BioHandle;
using Tessara::Keepsafe::contentOf;
using Tessara::Keepsafe::ErrorQueueMark;
using Tessara::Keepsafe::StoreContextHandle;
using Tessara::Keepsafe::StoreHandle;

namespace {

constexpr long long DAY_MS = 86'400'000;
constexpr long long SOON_MS = 30 * DAY_MS;

BioHandle reading(const std::string& text)
{
    return BioHandle(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

int noPassPhrase(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*data*/) noexcept { return -1; }

/// Milliseconds since the Unix epoch.
long long milliseconds(const ASN1_TIME* time)
{
    int days = 0;
    int seconds = 0;
    const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> epoch(ASN1_TIME_set(nullptr, 0),
                                                                      ASN1_TIME_free);
    if (ASN1_TIME_diff(&days, &seconds, epoch.get(), time) != 1) {
        return 0; // malformed: long ago
    }
    return days * DAY_MS + seconds * 1000LL;
}

} // namespace

std::vector<Certificate> certificatesIn(const std::string& pem)
{
    const ErrorQueueMark mark;
    const BioHandle text = reading(pem);
    std::vector<Certificate> found;
    while (Certificate next{PEM_read_bio_X509(text.get(), nullptr, noPassPhrase, nullptr)}) {
        found.push_back(std::move(next));
    }
    return found;
}

PrivateKey privateKeyIn(const std::string& pem)
{
    const ErrorQueueMark mark;
    return PrivateKey(PEM_read_bio_PrivateKey(reading(pem).get(), nullptr, noPassPhrase, nullptr));
}

std::string subjectOf(const X509& certificate)
{
    const X509_NAME* const subject = X509_get_subject_name(&certificate);
    const BioHandle text(BIO_new(BIO_s_mem()));
    const int place = X509_NAME_get_index_by_NID(const_cast<X509_NAME*>(subject), NID_commonName, -1);
    if (place < 0) {
        X509_NAME_print_ex(text.get(), subject, 0, XN_FLAG_ONELINE);
    } else {
        ASN1_STRING_print_ex(text.get(), X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, place)),
                             ASN1_STRFLGS_UTF8_CONVERT);
    }
    return contentOf(text.get());
}

std::string alternativeNamesOf(const X509& certificate)
{
    const ErrorQueueMark mark;
    auto* const names =
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(&certificate, NID_subject_alt_name, nullptr, nullptr));
    const std::unique_ptr<GENERAL_NAMES, decltype(&GENERAL_NAMES_free)> owner(names, GENERAL_NAMES_free);
    std::string text;
    for (int at = 0; at < sk_GENERAL_NAME_num(names); ++at) {
        const BioHandle name(BIO_new(BIO_s_mem()));
        GENERAL_NAME_print(name.get(), sk_GENERAL_NAME_value(names, at));
        text += (text.empty() ? "" : ", ") + contentOf(name.get());
    }
    return text;
}

bool isFor(X509& certificate, const std::string& nameOrAddress)
{
    const ErrorQueueMark mark;
    return X509_check_ip_asc(&certificate, nameOrAddress.c_str(), 0) == 1 ||
           X509_check_host(&certificate, nameOrAddress.data(), nameOrAddress.size(),
                           X509_CHECK_FLAG_NEVER_CHECK_SUBJECT, nullptr) == 1;
}

Validity validityOf(const X509& certificate)
{
    const long long now = nowMilliseconds();
    const long long begin = milliseconds(X509_get0_notBefore(&certificate));
    const long long end = milliseconds(X509_get0_notAfter(&certificate));
    if (now < begin) {
        return {Finding::State::Failure,
                "is not valid before " + utcTime(begin) + ", " + timeFrom(now, begin)};
    }
    if (now > end) {
        return {Finding::State::Failure, "expired at " + utcTime(end) + ", " + timeFrom(now, end)};
    }
    return {end - now < SOON_MS ? Finding::State::Warning : Finding::State::Ok,
            "expires " + timeFrom(now, end) + ", at " + utcTime(end)};
}

std::string faultOfChain(const std::vector<Certificate>& certificates,
                         const std::vector<Certificate>& authorities)
{
    const ErrorQueueMark mark;
    const StoreHandle store(X509_STORE_new());
    for (const Certificate& authority : authorities) {
        X509_STORE_add_cert(store.get(), authority.get());
    }
    STACK_OF(X509)* const others = sk_X509_new_null();
    const auto freeStack = [](STACK_OF(X509) * stack) { sk_X509_free(stack); };
    const std::unique_ptr<STACK_OF(X509), decltype(freeStack)> owner(others, freeStack);
    for (const Certificate& certificate : certificates) {
        sk_X509_push(others, certificate.get());
    }
    const StoreContextHandle context(X509_STORE_CTX_new());
    if (X509_STORE_CTX_init(context.get(), store.get(), certificates.front().get(), others) != 1) {
        return "OpenSSL cannot verify it";
    }
    X509_STORE_CTX_set_purpose(context.get(), X509_PURPOSE_SSL_CLIENT);
    X509_STORE_CTX_set_flags(context.get(), X509_V_FLAG_NO_CHECK_TIME);
    return X509_verify_cert(context.get()) == 1
               ? ""
               : X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get()));
}

} // namespace ksrbac
