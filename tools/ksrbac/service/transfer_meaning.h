#ifndef KSRBAC_SERVICE_TRANSFER_MEANING_H
#define KSRBAC_SERVICE_TRANSFER_MEANING_H

namespace ksrbac {

/// What a transfer status of the HTTP client, which is an error code of libcurl, means for an operator.
const char* transferMeaning(int status) noexcept;

} // namespace ksrbac

#endif
