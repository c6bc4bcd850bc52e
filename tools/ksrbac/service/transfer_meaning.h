#ifndef KSRBAC_SERVICE_TRANSFER_MEANING_H
#define KSRBAC_SERVICE_TRANSFER_MEANING_H

namespace ksrbac {

/// The meaning of the HTTP client's transfer status, a libcurl error code, for an operator.
const char* transferMeaning(int status) noexcept;

} // namespace ksrbac

#endif
