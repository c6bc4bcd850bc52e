#include "server/client_name.h"

#include <cstddef>
#include <new>
#include <string_view>

#include "openssl_handles.h"
#include "printable.h"

namespace keepsafe_service {

using Tessara::Keepsafe::BioHandle;
using Tessara::Keepsafe::CertificateHandle;
using Tessara::Keepsafe::contentOf;
using Tessara::Keepsafe::Process::isUtf8;

namespace {

std::string printed(const X509_NAME& name, unsigned long form)
{
    const BioHandle memory(BIO_new(BIO_s_mem()));
    if (memory == nullptr || X509_NAME_print_ex(memory.get(), &name, 0, form) < 0) {
        throw std::bad_alloc();
    }
    return contentOf(memory.get());
}

/// Not longer than it may be, and without a half character at the end.
std::string shortened(const std::string& text)
{
    if (text.size() <= MOST_CLIENT_NAME_BYTES) {
        return text;
    }
    std::string start = text.substr(0, MOST_CLIENT_NAME_BYTES - 3);
    while (!isUtf8(start)) {
        start.pop_back();
    }
    return start + "...";
}

} // namespace

std::string nameText(const X509_NAME& name)
{
    // The form of RFC 2253 is that of RFC 4514.
    constexpr unsigned long form = XN_FLAG_RFC2253;
    constexpr unsigned long escapesAllBeyondAscii = ASN1_STRFLGS_ESC_MSB;
    const std::string text = printed(name, form & ~escapesAllBeyondAscii);
    return shortened(isUtf8(text) ? text : printed(name, form));
}

std::string clientName(const SSL& connection)
{
    const CertificateHandle certificate(SSL_get1_peer_certificate(&connection));
    return certificate == nullptr ? "" : nameText(*X509_get_subject_name(certificate.get()));
}

} // namespace keepsafe_service
