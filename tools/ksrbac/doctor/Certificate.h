#ifndef KSRBAC_DOCTOR_CERTIFICATE_H
#define KSRBAC_DOCTOR_CERTIFICATE_H

#include <string>
#include <vector>

#include "doctor/Finding.h"
#include "openssl_handles.h"

/// \file
/// What the doctor looks at in certificates. No function asks for a pass phrase.

namespace ksrbac {

using Certificate = Tessara::Keepsafe::CertificateHandle;
using PrivateKey = Tessara::Keepsafe::KeyHandle;

/// The certificates of a text in PEM, in their order; those behind one that is malformed are left out.
std::vector<Certificate> certificatesIn(const std::string& pem);

/// The private key of a text in PEM; null for a text without one, and for one that needs a pass phrase.
PrivateKey privateKeyIn(const std::string& pem);

/// The common name of its subject, or all of the subject if it has none.
std::string subjectOf(const X509& certificate);

/// The names and addresses that it is for, with commas between them.
std::string alternativeNamesOf(const X509& certificate);

/// Whether it is for the name or the address. Its common name does not count.
bool isFor(X509& certificate, const std::string& nameOrAddress);

struct Validity {
    Finding::State
        state;        ///< Ok; Warning: it expires within 30 days; Failure: it has expired or is not valid yet
    std::string text; ///< "expires in 12 d 3 h, at 2026-12-04T10:00:00.000Z"
};

/// By the clock of the host.
Validity validityOf(const X509& certificate);

/// Why the first of the certificates does not lead to one of the authorities as the certificate of a client,
/// in OpenSSL's words; empty if it does. Its dates do not matter.
std::string faultOfChain(const std::vector<Certificate>& certificates,
                         const std::vector<Certificate>& authorities);

} // namespace ksrbac

#endif
